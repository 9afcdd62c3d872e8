// tarvo-exchange: runs exchange procedures from a terminal, a cron job or a systemd timer.
#include "host/cli.h"

int main(int argc, char** argv) { return HostMain(argc, argv); }
