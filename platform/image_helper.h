// JPEG thumbnails of photos, on libvips (streaming, reads JPEG, PNG, GIF, TIFF, WebP ...).
// Thread-safe; libvips is started once for the process on first use.
#pragma once

#include "platform/text.h"

class CTarvoImageHelper {
 public:
  // Writes `target` as a JPEG thumbnail of the image `source`:
  //   size    = the longest edge of the thumbnail in pixels (the aspect ratio is kept; a smaller
  //             image is not enlarged), 1 or more;
  //   quality = JPEG quality 1-100 (libvips' "Q"); metadata (EXIF, ICC profile) is left out.
  // The thumbnail is written beside `target` and renamed to it when complete, so `target` never
  // holds half a file. Returns false when the source is no readable image or the target cannot be
  // written; `error` (when given) then receives libvips' or the system's text.
  static bool SaveImageAsJPEGThumbnail(const CString& source, const CString& target, int size, int quality,
                                       CString* error = nullptr);
};
