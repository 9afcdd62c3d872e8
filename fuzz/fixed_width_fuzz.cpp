// The fixed-width line reader: the input is read line by line as a partner or text data file,
// and each line is cut into the fields of a layout with every kind of field.
#include "fuzz_file.h"
#include "partners/fixed_width.h"
#include "platform/stdio_file.h"

volatile size_t g_sink;  // keeps the reads from being optimised away

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using tarvo::partner::CFixedWidthLine;
  const std::string& path = WriteFuzzFile(data, size);
  size_t seen = 0;
  try {
    CStdioFile file(path, CStdioFile::Mode::kRead);
    CString text;
    while (file.ReadString(text)) {
      CFixedWidthLine line(text);
      seen += line.Text(0, 13).size() + line.Text(13, 40, CFixedWidthLine::ETrim::kBoth).size();
      seen += (line.Number(53, 18) != 0) + (line.Integer(71, 7) != 0);
      if (auto date = line.Date(78)) seen += static_cast<size_t>(date->day);
      seen += line.Raw(size % 97, static_cast<int>(size % 13)).size() + line.DecimalText(84, 9).size();
    }
  } catch (const tarvo::CFileException&) {
  }
  g_sink = seen;
  return 0;
}
