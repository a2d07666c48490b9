#include "model/print_tools.h"

namespace tavlo {

const PrintTool printToolArray[27] = {
    {"+", -1, 0},    {"-", 2, 0},      {"-", 1, -1},     {"*", -1, 0},    {"/", 2, 0},     {"**", 2, 0},
    {"exp", 1, -1},  {"log", 1, -1},   {"log10", 1, -1}, {"sin", 1, -1},  {"cos", 1, -1},  {"tan", 1, -1},
    {"asin", 1, -1}, {"acos", 1, -1},  {"atan", 1, -1},  {"max", -1, -1}, {"min", -1, -1}, {"abs", 1, -1},
    {"sign", 1, -1}, {"erf", 1, -1},   {"erfc", 1, -1},  {"sqrt", 1, -1}, {"and", -1, -1}, {"or", -1, -1},
    {"pwl", -1, -1}, {"user", -1, -1}, {"user", -1, -1},
};

}  // namespace tavlo
