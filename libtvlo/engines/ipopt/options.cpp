#include "engines/ipopt/options.h"

#include <limits>
#include <string>
#include <string_view>

#include "core/error.h"
#include "engines/options.h"

namespace tvlo::ipopt {

namespace {

// Ipopt's option names and texts are not const in its interface; it changes none.
char* text(const char* value) { return const_cast<char*>(value); }

void must(bool accepted, const char* option) {
  if (!accepted) throw Error(TVLO_ERR_ENGINE, format("Ipopt refused the value of its option %s", option));
}

// An option with texts for values lists them, from the control's least value on: "option=text|text|...".
std::string choice(std::string_view texts, int64_t index) {
  for (; index > 0; --index) texts.remove_prefix(std::min(texts.find('|'), texts.size() - 1) + 1);
  return std::string(texts.substr(0, texts.find('|')));
}

void applyControls(IpoptProblem problem, const ControlValues& controls, Settings& settings) {
  for (const ControlRow& row : controls.table().rows()) {
    const std::string_view own = engineOption(row, "ipopt");
    if (own.empty()) continue;
    const size_t equals = own.find('=');
    const std::string option(own.substr(0, equals));
    if (equals != std::string_view::npos) {
      const int64_t index = controls.getInt(row.id) - static_cast<int64_t>(row.least);
      setOption(problem, option.c_str(), choice(own.substr(equals + 1), index).c_str());
    } else if (row.type == TVLO_TYPE_INT) {
      const auto value = static_cast<int>(controls.getInt(row.id));
      const bool unlimited = option == "max_iter" && value == std::numeric_limits<int>::max();
      if (unlimited) continue;  // or what does not converge would never end: Ipopt's own limit
      setOption(problem, option.c_str(), value);
      if (option == "max_iter") settings.iterationLimit = value;
      if (option == "print_frequency_iter") settings.logEvery = value;
    } else {
      const double value = controls.getDouble(row.id);
      setOption(problem, option.c_str(), value);
      if (option == "tol") settings.tolerance = value;
      if (option == "acceptable_tol") settings.acceptable = value;
    }
  }
}

}  // namespace

void setOption(IpoptProblem problem, const char* option, const char* value) {
  must(AddIpoptStrOption(problem, text(option), text(value)), option);
}
void setOption(IpoptProblem problem, const char* option, double value) {
  must(AddIpoptNumOption(problem, text(option), value), option);
}
void setOption(IpoptProblem problem, const char* option, int value) {
  must(AddIpoptIntOption(problem, text(option), value), option);
}

Settings applyOptions(IpoptProblem problem, const NlpProgram& program, const NlpRequest& request,
                      const Approach& approach) {
  setOption(problem, "print_level", 0);
  setOption(problem, "sb", "yes");
  setOption(problem, "option_file_name", "");  // or it reads one in the working directory
  setOption(problem, "linear_solver", "mumps");
  setOption(problem, "mumps_pivot_order", 0);  // minimum degree: the fastest of its orderings, and see ordering.cpp
  // Memory beyond the estimate: ten times that by default, whose pages cost a fifth of the time. Doubled where needed.
  setOption(problem, "mumps_mem_percent", 20);
  // Refinement only where the residual asks for it: a back substitution less in each iteration.
  setOption(problem, "min_refinement_steps", 0);
  setOption(problem, "nlp_lower_bound_inf", -TVLO_INFINITY);
  setOption(problem, "nlp_upper_bound_inf", TVLO_INFINITY);

  Settings settings;
  if (request.controls != nullptr) applyControls(problem, *request.controls, settings);
  if (program.linearRows || program.quadratic) {
    setOption(problem, "jac_c_constant", "yes");
    setOption(problem, "jac_d_constant", "yes");
  }
  if (program.quadratic) {
    setOption(problem, "hessian_constant", "yes");
    setOption(problem, "bound_relax_factor", 0.0);
  }
  if (request.relaxation >= 0) setOption(problem, "bound_relax_factor", request.relaxation);
  if (request.exactDuals) setOption(problem, "s_max", 1e10);  // the size from which on larger duals allow larger errors
  if (approach.predictor) {
    setOption(problem, "mu_strategy", "adaptive");  // the only one that it goes with
    setOption(problem, "mehrotra_algorithm", "yes");
  }
  if (approach.warm) {
    setOption(problem, "warm_start_init_point", "yes");
    // A quadratic program's steps are long: from a little farther inside, an adaptive barrier takes a third of them.
    if (program.quadratic) setOption(problem, "mu_strategy", "adaptive");
    const double push = program.quadratic ? 1e-6 : 1e-9;
    setOption(problem, "mu_init", 1e-6);
    for (const char* const option : {"warm_start_bound_push", "warm_start_bound_frac", "warm_start_slack_bound_push",
                                     "warm_start_slack_bound_frac", "warm_start_mult_bound_push"}) {
      setOption(problem, option, push);
    }
  }
  return settings;
}

}  // namespace tvlo::ipopt
