#include "problem/solving/signals.h"

#include <csignal>

namespace tavlo {
namespace {

int solves = 0;
struct sigaction before;

}  // namespace

void setSigIntHandler() {
  if (solves++ > 0) return;
  struct sigaction standard{};
  standard.sa_handler = SIG_DFL;
  sigemptyset(&standard.sa_mask);
  sigaction(SIGINT, &standard, &before);
}

void resetSigIntHandler() {
  if (--solves == 0) sigaction(SIGINT, &before, nullptr);
}

}  // namespace tavlo
