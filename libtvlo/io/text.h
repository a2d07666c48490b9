// The whole text of a problem file, and the errors that point at a line of it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/error.h"
#include "core/text.h"

namespace tvlo {

class FileError : public Error {  // at a line of a file
 public:
  FileError(int code, int64_t line, const std::string& text) : Error(code, text), line_(line) {}
  int64_t line() const { return line_; }

 private:
  int64_t line_;
};

struct FileText {
  std::string name;
  std::string text;

  [[noreturn]] void fail(int64_t line, const std::string& what, int code = TVLO_ERR_FORMAT) const;
  [[noreturn]] void unsupported(int64_t line, const std::string& what) const;  // "<what> is not supported yet"
};

// Reads a file and unpacks it when it is gzipped, which its first bytes tell. A file with zero bytes is no text.
FileText readFileText(const std::string& filename);

std::string latin1ToUtf8(std::string_view text);

inline bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }
std::string_view trimmed(std::string_view text);
std::string lowerCase(std::string_view text);  // of ASCII letters

}  // namespace tvlo
