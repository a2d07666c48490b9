#include "numpy/half.h"

#include <bit>

float tvlo_half_to_float(uint16_t half) {
  const uint32_t sign = static_cast<uint32_t>(half & 0x8000u) << 16;
  const uint32_t exponent = (half >> 10) & 0x1fu, mantissa = half & 0x3ffu;
  uint32_t bits = sign;
  if (exponent) {
    bits |= (exponent + 112) << 23 | mantissa << 13;
  } else if (mantissa) {  // subnormal: shift the leading one into the hidden bit
    const uint32_t shift = static_cast<uint32_t>(std::countl_zero(mantissa)) - 21;
    bits |= (113 - shift) << 23 | ((mantissa << shift) & 0x3ffu) << 13;
  }
  return std::bit_cast<float>(bits);
}

uint16_t tvlo_float_to_half(float value) {
  const uint32_t bits = std::bit_cast<uint32_t>(value) + 0x1000u;  // to nearest on the 13 bits that go
  const uint32_t sign = (bits >> 16) & 0x8000u, exponent = (bits >> 23) & 0xffu, mantissa = bits & 0x7fffffu;
  if (exponent > 143) return static_cast<uint16_t>(sign | 0x7fffu);
  if (exponent > 112) return static_cast<uint16_t>(sign | ((exponent - 112) << 10) | mantissa >> 13);
  if (exponent < 102) return static_cast<uint16_t>(sign);
  // The rounding increment of a normal half is taken back and its own is added for the shifted mantissa.
  return static_cast<uint16_t>(sign | (((0x7ff000u + mantissa) >> (125 - exponent)) + 1) >> 1);
}
