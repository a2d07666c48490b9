// Keyword parsing with former names, and the fixed wording for missing arguments.
#include <cstdarg>
#include <cstdio>

#include "pyutil/ref.h"
#include "runtime/errors.h"

namespace tavlo {
namespace {

// The interpreter's parser takes a list of varying constness, which it never changes.
int parse(PyObject* args, PyObject* kwargs, const char* format, const char* const* kwlist, va_list outputs) {
  va_list copy;
  va_copy(copy, outputs);
  const int parsed = PyArg_VaParseTupleAndKeywords(args, kwargs, format, const_cast<char**>(kwlist), copy);
  va_end(copy);
  return parsed;
}

class Message {
 public:
  void append(const char* piece) {
    const int wanted = std::snprintf(text_ + length_, sizeof text_ - length_, "%s", piece);
    if (wanted > 0) length_ += static_cast<size_t>(wanted);
    if (length_ > sizeof text_ - 1) length_ = sizeof text_ - 1;
  }
  void raise() const { PyErr_SetString(tpy_interf_exc, text_); }

 private:
  char text_[256] = "";
  size_t length_ = 0;
};

}  // namespace

int ko_ParseTupleAndKeywords(PyObject* args, PyObject* kwargs, const char* format, const char* const* kwlist,
                             const char* const* alt_kwlist, ...) {
  va_list outputs;
  va_start(outputs, alt_kwlist);
  int parsed = parse(args, kwargs, format, kwlist, outputs);
  if (!parsed && alt_kwlist) {
    ErrorStash documented;  // the error of the documented names is the one that is reported
    parsed = parse(args, kwargs, format, alt_kwlist, outputs);
    if (parsed)
      documented.discard();
    else
      PyErr_Clear();
  }
  va_end(outputs);
  return parsed;
}

void ko_PyErr_MissingArgs(const char* first_name, ...) {
  va_list names;
  va_start(names, first_name);
  const char* next = va_arg(names, const char*);
  Message message;
  message.append(next ? "Must provide arguments " : "Must provide argument ");
  message.append(first_name);
  for (; next; next = va_arg(names, const char*)) {
    message.append(", ");
    message.append(next);
  }
  va_end(names);
  message.raise();
}

void ko_PyErr_MissingArgsRange(const char* const* names, int first, int last) {
  Message message;
  message.append(last - first == 1 ? "Must provide argument" : "Must provide arguments");
  for (int i = first; i < last; ++i) {
    message.append(i == first ? " " : ", ");
    message.append(names[i]);
  }
  message.raise();
}

}  // namespace tavlo
