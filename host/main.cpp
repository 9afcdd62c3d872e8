// tarvo-exchange: runs exchange procedures from a terminal or a script.
#include <cstdio>
#include <cstring>

#include "build_info.h"

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--version") == 0) {
    std::printf("%s %s\n", TARVO_PRODUCT_NAME, TARVO_PRODUCT_VERSION);
    return 0;
  }
  std::fprintf(stderr, "usage: tarvo-exchange --version\n");
  return 64;
}
