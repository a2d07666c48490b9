#include "io/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <system_error>
#include <vector>

#include "core/error.h"

namespace tvlo {

class OutputFile::Deflater {
 public:
  Deflater() {
    if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~Deflater() { deflateEnd(&stream_); }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  // Calls put(bytes, n) with what comes out. `text` is at most a few blocks long.
  template <class F>
  void compress(std::string_view text, bool last, F&& put) {
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream_.avail_in = static_cast<uInt>(text.size());
    do {
      stream_.next_out = reinterpret_cast<Bytef*>(packed_.data());
      stream_.avail_out = static_cast<uInt>(packed_.size());
      deflate(&stream_, last ? Z_FINISH : Z_NO_FLUSH);
      put(packed_.data(), packed_.size() - stream_.avail_out);
    } while (stream_.avail_out == 0);
  }

 private:
  z_stream stream_{};
  std::vector<char> packed_ = std::vector<char>(kBlock);
};

OutputFile::OutputFile(const std::string& filename, bool gzip) : filename_(filename), target_(filename) {
  if (gzip) deflater_ = std::make_unique<Deflater>();
  text_.reserve(kBlock + kBlock / 4);
  open();
}

void OutputFile::open() {
  struct stat status;
  const bool exists = ::stat(filename_.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    fd_ = ::open(filename_.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd_ < 0) failSystem(errno);
    return;
  }
  if (exists) {
    if (::access(filename_.c_str(), W_OK) != 0) failSystem(errno);
    char* const resolved = ::realpath(filename_.c_str(), nullptr);
    if (resolved == nullptr) failSystem(errno);
    const std::unique_ptr<char, decltype(&std::free)> owner(resolved, &std::free);
    target_ = resolved;
  }
  // The name is short whatever the target's is, and no other thread or process has it.
  static std::atomic<unsigned> counter{0};
  const size_t slash = target_.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : target_.substr(0, slash + 1);
  for (int attempt = 0; fd_ < 0; ++attempt) {
    temporary_ = folder + ".tvlo" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".tmp";
    fd_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd_ < 0 && (errno != EEXIST || attempt > 1000)) {
      temporary_.clear();
      failSystem(errno);
    }
  }
  // Best effort: on file systems without modes there is nothing to keep.
  if (exists && ::fchmod(fd_, status.st_mode & 07777) != 0) errno = 0;
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) ::close(fd_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void OutputFile::failSystem(int error) const {
  throw Error(TVLO_ERR_FILE, filename_ + ": can't be written: " + std::generic_category().message(error));
}

void OutputFile::put(const char* bytes, size_t n) {
  while (n > 0) {
    const ssize_t written = ::write(fd_, bytes, n);
    if (written < 0) {
      if (errno == EINTR) continue;
      failSystem(errno);
    }
    bytes += written;
    n -= static_cast<size_t>(written);
  }
}

void OutputFile::flush() {
  if (deflater_) {
    deflater_->compress(text_, false, [this](const char* bytes, size_t n) { put(bytes, n); });
  } else {
    put(text_.data(), text_.size());
  }
  text_.clear();
}

void OutputFile::commit() {
  if (deflater_) {
    deflater_->compress(text_, true, [this](const char* bytes, size_t n) { put(bytes, n); });
    text_.clear();
  } else {
    flush();
  }
  const int fd = fd_;
  fd_ = -1;
  if (::close(fd) != 0) failSystem(errno);
  if (temporary_.empty()) return;
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) failSystem(errno);
  temporary_.clear();
}

}  // namespace tvlo
