// Half-precision conversions by bit manipulation, independent of NumPy. There are no infinities or NaNs on the half
// side: exponent 31 is an exponent like any other.
#pragma once

#include <cstdint>

float tvlo_half_to_float(uint16_t half);
uint16_t tvlo_float_to_half(float value);
