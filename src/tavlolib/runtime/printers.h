// Message handlers that copy the library's log lines to Python's sys.stdout. The library may call them from any
// thread: they take the interpreter lock themselves and hold no mutex while they wait for it.
#pragma once

namespace tavlo {

int tvl_py_print_general(const char* text, int flush);  // a null text prints nothing; always 0

// TVLOmessagefn. Of the environment: everything but the messages of problems.
int tvl_py_print(void* object, void* data, const char* text, int length, int type);
}  // namespace tavlo
