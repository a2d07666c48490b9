#include "io/text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

namespace tvlo {

namespace {

constexpr size_t kBlock = size_t{1} << 20;

[[noreturn]] void failSystem(const std::string& filename, int error) {
  throw Error(TVLO_ERR_FILE, filename + ": can't be read: " + std::generic_category().message(error));
}

class Descriptor {
 public:
  explicit Descriptor(const std::string& filename) : fd_(::open(filename.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (fd_ < 0) failSystem(filename, errno);
  }
  ~Descriptor() { ::close(fd_); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

std::string readBytes(const std::string& filename) {
  const Descriptor file(filename);
  struct stat status;
  const bool regular = ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
  std::string bytes;
  size_t used = 0;
  for (;;) {
    // One byte more than a regular file has, so that its end is seen without another block.
    const size_t expected = regular ? static_cast<size_t>(status.st_size) + 1 : 0;
    if (used == bytes.size()) bytes.resize(std::max({expected, used + used / 2, used + kBlock / 16}));
    const ssize_t n = ::read(file.get(), bytes.data() + used, bytes.size() - used);
    if (n < 0) {
      if (errno == EINTR) continue;
      failSystem(filename, errno);
    }
    if (n == 0) break;
    used += static_cast<size_t>(n);
  }
  bytes.resize(used);
  return bytes;
}

class Inflater {
 public:
  Inflater() {
    if (inflateInit2(&stream, 15 + 16) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&stream); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  z_stream stream{};
};

bool isGzip(std::string_view bytes) { return bytes.size() >= 2 && bytes[0] == '\x1f' && bytes[1] == '\x8b'; }

// A gzip file is one or more members one after the other; zeros after the last one are padding.
std::string unpacked(const std::string& filename, std::string_view bytes) {
  Inflater inflater;
  z_stream& stream = inflater.stream;
  std::string text;
  size_t used = 0;
  size_t at = 0;
  for (;;) {
    const size_t given = std::min<size_t>(bytes.size() - at, std::numeric_limits<uInt>::max() / 2);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data() + at));
    stream.avail_in = static_cast<uInt>(given);
    if (used == text.size()) text.resize(std::max({4 * bytes.size(), used + used / 2, kBlock / 16}));
    const size_t room = std::min<size_t>(text.size() - used, std::numeric_limits<uInt>::max() / 2);
    stream.next_out = reinterpret_cast<Bytef*>(text.data() + used);
    stream.avail_out = static_cast<uInt>(room);
    const int result = inflate(&stream, Z_NO_FLUSH);
    at += given - stream.avail_in;
    used += room - stream.avail_out;
    if (result == Z_STREAM_END) {
      if (!isGzip(bytes.substr(at))) break;
      inflateReset(&stream);
    } else if (result == Z_MEM_ERROR) {
      throw std::bad_alloc();
    } else if (result != Z_OK && result != Z_BUF_ERROR) {
      throw Error(TVLO_ERR_FILE, filename + ": the compressed data are damaged");
    } else if (at == bytes.size() && stream.avail_out > 0) {
      throw Error(TVLO_ERR_FILE, filename + ": the compressed data end too early");
    }
  }
  text.resize(used);
  return text;
}

}  // namespace

FileText readFileText(const std::string& filename) {
  FileText file{filename, readBytes(filename)};
  if (isGzip(file.text)) file.text = unpacked(filename, file.text);
  const size_t zero = file.text.find('\0');
  if (zero != std::string::npos) {
    file.fail(1 + std::count(file.text.begin(), file.text.begin() + static_cast<ptrdiff_t>(zero), '\n'),
              "a zero byte: this is not a text file");
  }
  if (file.text.compare(0, 3, "\xef\xbb\xbf") == 0) file.text.erase(0, 3);
  return file;
}

void FileText::fail(int64_t line, const std::string& what, int code) const {
  throw FileError(code, line, name + ":" + std::to_string(line) + ": " + what);
}

void FileText::unsupported(int64_t line, const std::string& what) const {
  fail(line, what + " is not supported yet", TVLO_ERR_UNSUPPORTED);
}

std::string latin1ToUtf8(std::string_view text) {
  std::string converted;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      converted += c;
    } else {
      converted += static_cast<char>(0xc0 | byte >> 6);
      converted += static_cast<char>(0x80 | (byte & 0x3f));
    }
  }
  return converted;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

}  // namespace tvlo
