// Message handlers: an ordered list, higher priority first, then in order of registration. Any thread may use it.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "tvlo/tvlo.h"

namespace tvlo {

enum class MessageType : int { flush = -1, information = 1, warning = 3, error = 4 };

class MessageHandlers {
 public:
  void add(TVLOmessagefn handler, void* data, int priority);
  // Null matches any; how many went. None of them is running once this returns, unless the caller itself is in a
  // handler, which must not wait for others. A caller with a lock that a handler may want gives that up first.
  int remove(TVLOmessagefn handler, void* data);
  // One line, without its newline; handlers get a null text with MessageType::flush.
  void send(void* object, std::string_view text, MessageType type) const;
  bool empty() const;

 private:
  struct Entry {
    TVLOmessagefn handler;
    void* data;
    int priority;
    int running = 0;  // calls at this moment
    bool removed = false;
  };
  class Call;
  mutable std::mutex mutex_;  // never held while a handler runs: handlers may add and remove
  mutable std::condition_variable idle_;
  std::vector<std::shared_ptr<Entry>> entries_;
};

// The global environment's handlers, which see the lines of every problem.
MessageHandlers& environmentMessages();

}  // namespace tvlo
