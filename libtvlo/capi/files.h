// Reading and writing a problem's file for both C interfaces; throws Error.
#pragma once

#include "core/problem.h"

namespace tvlo {

void readInto(Problem& problem, const char* filename, const char* flags);  // a failure leaves an empty problem
void writeFrom(const Problem& problem, const char* filename, const char* flags);

}  // namespace tvlo
