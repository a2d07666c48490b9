#include "core/messages.h"

#include <algorithm>
#include <string>

namespace tvlo {

namespace {

thread_local int callsOfThisThread = 0;

}  // namespace

// One call of a handler, from the moment it can't be removed any more without waiting for its end.
class MessageHandlers::Call {
 public:
  Call(const MessageHandlers& handlers, Entry& entry) : handlers_(handlers), entry_(entry) {
    const std::lock_guard lock(handlers_.mutex_);
    wanted_ = !entry_.removed;
    if (!wanted_) return;
    ++entry_.running;
    ++callsOfThisThread;
  }
  ~Call() {
    if (!wanted_) return;
    const std::lock_guard lock(handlers_.mutex_);
    --callsOfThisThread;
    if (--entry_.running == 0 && entry_.removed) handlers_.idle_.notify_all();
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  bool wanted() const { return wanted_; }

 private:
  const MessageHandlers& handlers_;
  Entry& entry_;
  bool wanted_ = false;
};

void MessageHandlers::add(TVLOmessagefn handler, void* data, int priority) {
  auto fresh = std::make_shared<Entry>(Entry{handler, data, priority});
  const std::lock_guard lock(mutex_);
  const auto place = std::upper_bound(entries_.begin(), entries_.end(), priority,
                                      [](int given, const auto& entry) { return given > entry->priority; });
  entries_.insert(place, std::move(fresh));
}

int MessageHandlers::remove(TVLOmessagefn handler, void* data) {
  std::unique_lock lock(mutex_);
  const auto stays = [&](const std::shared_ptr<Entry>& entry) {
    return (handler != nullptr && entry->handler != handler) || (data != nullptr && entry->data != data);
  };
  const auto first = std::stable_partition(entries_.begin(), entries_.end(), stays);
  const std::vector<std::shared_ptr<Entry>> gone(first, entries_.end());
  entries_.erase(first, entries_.end());
  for (const auto& entry : gone) entry->removed = true;
  const auto idle = [](const std::shared_ptr<Entry>& entry) { return entry->running == 0; };
  if (callsOfThisThread == 0) idle_.wait(lock, [&] { return std::all_of(gone.begin(), gone.end(), idle); });
  return static_cast<int>(gone.size());
}

void MessageHandlers::send(void* object, std::string_view text, MessageType type) const {
  std::vector<std::shared_ptr<Entry>> now;
  {
    const std::lock_guard lock(mutex_);
    if (entries_.empty()) return;
    now = entries_;
  }
  const std::string line(text);
  const bool flush = type == MessageType::flush;
  for (const auto& entry : now) {
    const Call call(*this, *entry);
    if (!call.wanted()) continue;
    entry->handler(object, entry->data, flush ? nullptr : line.c_str(), flush ? 0 : static_cast<int>(line.size()),
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
