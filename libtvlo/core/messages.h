// Message handlers: an ordered list, higher priority first, then in order of registration. Any thread may use it.
#pragma once

#include <mutex>
#include <string_view>
#include <vector>

#include "tvlo/tvlo.h"

namespace tvlo {

enum class MessageType : int { flush = -1, information = 1, warning = 3, error = 4 };

class MessageHandlers {
 public:
  void add(TVLOmessagefn handler, void* data, int priority);
  int remove(TVLOmessagefn handler, void* data);  // null matches any; how many went
  // One line, without its newline; handlers get a null text with MessageType::flush.
  void send(void* object, std::string_view text, MessageType type) const;
  bool empty() const;

 private:
  struct Entry {
    TVLOmessagefn handler;
    void* data;
    int priority;
  };
  mutable std::mutex mutex_;  // never held while a handler runs: handlers may add and remove
  std::vector<Entry> entries_;
};

// The global environment's handlers, which see the lines of every problem.
MessageHandlers& environmentMessages();

}  // namespace tvlo
