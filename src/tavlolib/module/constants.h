// The module's named constants, from constants.def.
#pragma once

namespace tavlo {

enum ConstantKind { kConstantInt = 0, kConstantFloat = 1 };
struct Constant {
  const char* name;  // null ends the table
  int kind;
  double value;
};
extern const Constant kConstants[];

}  // namespace tavlo
