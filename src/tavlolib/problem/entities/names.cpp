// Names of variables and constraints in the form in which the solver gets them.
#include <charconv>
#include <cstring>

#include "model/packed_word.h"
#include "problem/entities/batch.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

constexpr size_t kLongestVariableName = 150;

// The default names are written without an object being made: most models have no others.
int appendDefault(Array<char>& names, size_t* used, char letter, uint64_t index) {
  constexpr size_t kRoom = 24;
  if (!names.reserve(*used + kRoom)) return -1;
  char* at = names.data() + *used;
  *at = letter;
  at = std::to_chars(at + 1, at + kRoom - 1, index).ptr;
  *at++ = '\0';
  *used = static_cast<size_t>(at - names.data());
  return 0;
}

// The length cut to at most `most` bytes, not in the middle of a character.
size_t cut(const char* text, size_t length, size_t most) {
  if (length <= most) return length;
  while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xc0) == 0x80) --most;
  return most;
}

int appendStored(Array<char>& names, size_t* used, PyObject* name, const char* kind, size_t most) {
  Py_ssize_t length = 0;
  const char* text = nullptr;
  if (name && PyUnicode_Check(name)) {
    text = PyUnicode_AsUTF8AndSize(name, &length);
    if (!text) {
      if (PyErr_ExceptionMatches(PyExc_UnicodeError)) modelError("Invalid %s name %A (not valid Unicode)", kind, name);
      return -1;
    }
  } else if (name && PyBytes_Check(name)) {
    text = PyBytes_AS_STRING(name);
    length = PyBytes_GET_SIZE(name);
  } else {
    modelError("Invalid %s name (must be a string)", kind);
    return -1;
  }
  if (std::memchr(text, '\0', static_cast<size_t>(length))) {
    modelError("Invalid %s name %A (holds a zero byte)", kind, name);
    return -1;
  }
  const size_t bytes = cut(text, static_cast<size_t>(length), most);
  if (!names.reserve(*used + bytes + 1)) return -1;
  std::memcpy(names.data() + *used, text, bytes);
  *used += bytes;
  names[(*used)++] = '\0';
  return 0;
}

}  // namespace

int appendVarName(Array<char>& names, size_t* used, const var_s* v) {
  if (!(v->word & kVarNameBit)) return appendDefault(names, used, 'C', varIndex(v));
  Ref name = Ref::steal(get_var_name(v->word));
  return name ? appendStored(names, used, name.get(), "variable", kLongestVariableName) : -1;
}

int appendConName(Array<char>& names, size_t* used, const constraint_s* c) {
  if (!(c->info & kConNameBit)) return appendDefault(names, used, 'R', conIndex(c));
  return appendStored(names, used, namemap_get(tvl_py_env.con_name_map, conIndex(c)), "constraint", SIZE_MAX);
}

}  // namespace tavlo
