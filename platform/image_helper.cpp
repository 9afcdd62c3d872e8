#include "platform/image_helper.h"

#include <vips/vips.h>

#include <cstdio>
#include <mutex>

#include "platform/errors.h"
#include "platform/files.h"

namespace {

bool StartVips(CString* error) {
  static std::once_flag once;
  static bool started = false;
  std::call_once(once, [] {
    started = VIPS_INIT("tarvo-exchange") == 0;
    // One photo at a time: keep libvips' operation cache small and out of the way.
    if (started) vips_cache_set_max(0);
  });
  if (!started && error) *error = "libvips non inizializzata";
  return started;
}

// libvips' error text for this failure, cleared for the next one.
CString TakeVipsError() {
  CString text = tarvo::TrimRight(vips_error_buffer());
  vips_error_clear();
  return text.empty() ? CString("errore sconosciuto della libreria immagini") : text;
}

struct ImageRef {
  VipsImage* image = nullptr;
  ~ImageRef() {
    if (image) g_object_unref(image);
  }
};

}  // namespace

bool CTarvoImageHelper::SaveImageAsJPEGThumbnail(const CString& source, const CString& target, int size, int quality,
                                                 CString* error) {
  if (!StartVips(error)) return false;
  const CString from = tarvo::NativePath(source);
  const CString to = tarvo::NativePath(target);
  const CString partial = to + ".part";
  ImageRef thumb;
  // vips_thumbnail decodes with shrink-on-load (JPEG) and streams the rest.
  if (vips_thumbnail(from.c_str(), &thumb.image, size < 1 ? 1 : size, "size", VIPS_SIZE_DOWN, nullptr) != 0 ||
      vips_jpegsave(thumb.image, partial.c_str(), "Q", quality < 1 ? 1 : (quality > 100 ? 100 : quality), "strip",
                    TRUE, nullptr) != 0) {
    CString text = TakeVipsError();
    std::remove(partial.c_str());
    if (error) *error = text;
    return false;
  }
  if (std::rename(partial.c_str(), to.c_str()) != 0) {
    if (error) *error = "impossibile scrivere il file " + target + ": " + tarvo::GetSystemError();
    std::remove(partial.c_str());
    return false;
  }
  return true;
}
