#include "core/messages.h"

#include <algorithm>
#include <string>

namespace tvlo {

void MessageHandlers::add(TVLOmessagefn handler, void* data, int priority) {
  const std::lock_guard lock(mutex_);
  const auto place = std::upper_bound(entries_.begin(), entries_.end(), priority,
                                      [](int given, const Entry& entry) { return given > entry.priority; });
  entries_.insert(place, {handler, data, priority});
}

int MessageHandlers::remove(TVLOmessagefn handler, void* data) {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(std::erase_if(entries_, [&](const Entry& entry) {
    return (handler == nullptr || entry.handler == handler) && (data == nullptr || entry.data == data);
  }));
}

void MessageHandlers::send(void* object, std::string_view text, MessageType type) const {
  std::vector<Entry> now;
  {
    const std::lock_guard lock(mutex_);
    if (entries_.empty()) return;
    now = entries_;
  }
  const std::string line(text);
  const bool flush = type == MessageType::flush;
  for (const Entry& entry : now) {
    entry.handler(object, entry.data, flush ? nullptr : line.c_str(), flush ? 0 : static_cast<int>(line.size()),
                  static_cast<int>(type));
  }
}

bool MessageHandlers::empty() const {
  const std::lock_guard lock(mutex_);
  return entries_.empty();
}

MessageHandlers& environmentMessages() {
  static auto* const handlers = new MessageHandlers;  // outlives whatever still logs at the end of the process
  return *handlers;
}

}  // namespace tvlo
