// A file that is being written. A regular file is written beside its target under a temporary name and takes its place
// in commit(), so a failure leaves no part of it and any old file as it was; a device or a pipe is written directly.
// Throws Error.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace tvlo {

class OutputFile {
 public:
  OutputFile(const std::string& filename, bool gzip);
  ~OutputFile();  // without commit(): the file is gone
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  std::string& text() { return text_; }  // append here, then call drain() now and then
  void drain() {
    if (text_.size() >= kBlock) flush();
  }
  void commit();

 private:
  static constexpr size_t kBlock = size_t{1} << 18;
  class Deflater;

  void open();
  void flush();
  void put(const char* bytes, size_t n);
  [[noreturn]] void failSystem(int error) const;

  std::string filename_;
  std::string target_;     // where links of filename_ lead
  std::string temporary_;  // empty: written directly
  int fd_ = -1;
  std::string text_;
  std::unique_ptr<Deflater> deflater_;  // null: plain
};

}  // namespace tvlo
