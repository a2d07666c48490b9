// Which engine and method solve a problem: decided from its class and content and from the flags of the call.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/controls.h"
#include "core/model.h"
#include "engines/engine.h"

namespace tvlo {

struct Flags {
  Method method = Method::automatic;  // the flags' or, where they name none, that of control `defaultalg`
  bool relaxation = false;            // the continuous relaxation only
};
// Throws Error for letters that there are not and for two that contradict each other.
Flags parseFlags(const char* flags, const ControlValues& controls);

// What to try in turn: the next one when the answer of the last one fails its check or the engine fails.
struct Attempt {
  const char* engine;
  Method method;
  bool cold;
  bool withoutPresolve;
  bool scaled = false;
};

// What a problem contains that not every engine takes; a set of these is a mask. Rows of type N count for nothing.
enum Content : unsigned {
  kIntegers = 1,         // integer and binary columns
  kSemiContinuous = 2,   // and semi-integer ones
  kPartialIntegers = 4,  // partially integer columns
  kQuadraticObjective = 8,
  kQuadraticRows = 16,
  kFormulas = 32,
};
inline constexpr unsigned kDiscrete = kIntegers | kSemiContinuous | kPartialIntegers;
inline constexpr unsigned kQuadratic = kQuadraticObjective | kQuadraticRows;

// `mip`: for a tree search; else of the continuous relaxation.
unsigned contentOf(const Model& model, bool mip);

// "LP", "MIP", "QP" or "QCQP".
const char* className(unsigned content);

// Throws Error with TVLO_ERR_UNSUPPORTED when no engine at hand solves what the model contains.
std::vector<Attempt> routeOf(const Model& model, unsigned content, Method method);

// The engine of an attempt: opens local solvers too, for convex quadratic problems.
std::unique_ptr<EngineSession> openForRoute(const std::string& engine);

}  // namespace tvlo
