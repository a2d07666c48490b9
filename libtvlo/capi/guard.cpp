#include "capi/guard.h"

#include <cstring>
#include <new>
#include <stdexcept>

namespace tvlo {

int describeException(std::string& text) noexcept {
  int code = TVLO_ERR_INTERNAL;
  try {
    try {
      throw;
    } catch (const Error& error) {
      code = error.code();
      text = error.what();
    } catch (const std::bad_alloc&) {
      code = TVLO_ERR_MEMORY;
      text = "Out of memory";
    } catch (const std::length_error&) {  // an array longer than any memory
      code = TVLO_ERR_MEMORY;
      text = "Out of memory";
    } catch (const std::exception& error) {
      text = format("Internal error: %s", error.what());
    } catch (...) {
      text = "Internal error";
    }
  } catch (...) {
    text.clear();  // the code alone must do
  }
  return code;
}

int reportBadHandle(const void* handle) noexcept {
  return guardGlobal(
      [&] { badArgument(handle == nullptr ? "The problem handle is null" : "The problem handle is not a live one"); });
}

void requireIdle(const Problem& problem) {
  if (problem.solving.load(std::memory_order_relaxed)) {
    throw Error(TVLO_ERR_STATE, "The problem is being solved and can't be changed");
  }
}

void requireStarted() {
  if (!Environment::instance().started()) throw Error(TVLO_ERR_STATE, "The library is not started");
}

void copyText(std::string_view text, char* buffer, int maxbytes, int* nbytes) {
  if (nbytes != nullptr) *nbytes = static_cast<int>(text.size()) + 1;
  if (buffer == nullptr || maxbytes <= 0) return;
  size_t length = std::min(text.size(), static_cast<size_t>(maxbytes) - 1);
  if (length < text.size()) {
    // Continuation bytes of UTF-8 must not stand without what they continue.
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80) --length;
  }
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
}

Range requireRange(int first, int last, int size, const char* line) {
  if (first < 0 || last >= size || last < first - 1) {
    badArgument("%ss %d to %d are not a range of the %d there are", line, first, last, size);
  }
  return {first, last - first + 1};
}

}  // namespace tvlo
