// The places in formulas where user functions are called: each remembers its last point, so that a function is called
// once for a value there however often it is asked for.
//
// Derivatives of functions of type 2 come by central differences: first ones with step eps^(1/3), second ones with
// step eps^(1/4), each times max(1, |x|). Functions of type 5 give first derivatives; second ones are central
// differences of those with step eps^(1/3). A step stays within the bounds of an argument that is a variable: it is
// shortened to the room there is, and where the function has no value the difference is taken to the other side only.
// By an argument that is fixed, or a number, the derivative is 0: nobody moves it. A nonzero result of the function
// ends all with an Error.
#pragma once

#include <memory>
#include <vector>

#include "core/formulas.h"

namespace tvlo {

// One call; null derivs ask for the value only. Throws Error when it fails or the function is gone.
double callUser(const UserFunction& user, const double* x, double* derivs);

class UserSites {
 public:
  int add(std::shared_ptr<UserFunction> function);  // its number
  void setBounds(int site, int argument, double lower, double upper);
  double* argumentSpace() { return given_.data(); }  // room for the arguments of any site

  // Numbers that are not finite say that there is no value there. The results stay where they are until the site is
  // next asked at another point: `first` has a derivative for each argument, `second` the lower triangle by rows.
  double value(int site, const double* x);
  const double* first(int site, const double* x);
  const double* second(int site, const double* x);

 private:
  struct Site {
    std::shared_ptr<UserFunction> function;
    size_t store;  // of x, first, lower and upper bounds, each of the number of arguments, then second
    double value;
    bool known, firstKnown, secondKnown;
  };
  void moveTo(Site& site, const double* x);
  double lower(const Site& site, int argument) const;
  double upper(const Site& site, int argument) const;
  double call(const Site& site, const double* x, double* derivs);
  void secondByValues(const Site& site, double* result);
  template <class F>
  bool difference(const Site& site, int argument, double relativeStep, F evaluate, double& below, double& above);

  std::vector<Site> sites_;
  std::vector<double> store_, given_, point_, work_;
  std::vector<bool> seen_;
};

}  // namespace tvlo
