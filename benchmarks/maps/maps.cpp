// The modelling layer's container of coefficients against a balanced tree and one sorted vector, on what models do:
// nanoseconds for each term. Keys are the variables' indices, read through a pointer as in a model.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "model/chunked.h"

namespace {

struct Variable {
  uint64_t count, type, index;
};
struct Entry {
  const Variable* v;
  double c;
  uint64_t key() const { return v->index; }
};

struct Chunks {
  tavlo::Chunked<Entry, uint64_t> map;
  void add(const Variable* v, double c) {
    const auto s = map.locate(v->index);
    if (s.found)
      map.at(s).c += c;
    else if (!map.insert(s, {v, c}))
      std::abort();
  }
  double sum() const {
    double total = 0;
    map.each([&](const Entry& e) {
      total += e.c;
      return true;
    });
    return total;
  }
};

struct Tree {
  struct ByIndex {
    bool operator()(const Variable* a, const Variable* b) const { return a->index < b->index; }
  };
  std::map<const Variable*, double, ByIndex> map;
  void add(const Variable* v, double c) {
    const auto at = map.lower_bound(v);
    if (at != map.end() && at->first->index == v->index)
      at->second += c;
    else
      map.emplace_hint(at, v, c);
  }
  double sum() const {
    double total = 0;
    for (const auto& [v, c] : map) total += c;
    return total;
  }
};

struct Flat {
  std::vector<Entry> map;
  void add(const Variable* v, double c) {
    if (map.empty() || map.back().key() < v->index) {
      map.push_back({v, c});
      return;
    }
    const auto at = std::lower_bound(map.begin(), map.end(), v->index,
                                     [](const Entry& e, uint64_t index) { return e.key() < index; });
    if (at->key() == v->index)
      at->c += c;
    else
      map.insert(at, {v, c});
  }
  double sum() const {
    double total = 0;
    for (const Entry& e : map) total += e.c;
    return total;
  }
};

using Order = std::vector<const Variable*>;
double sink = 0;  // what keeps the work from being optimised away

template <class Work>
double bestOf(size_t terms, Work&& work) {
  double best = 1e300;
  for (int round = 0; round < 5; ++round) {
    const auto began = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - began;
    best = std::min(best, took.count() / static_cast<double>(terms));
  }
  return best;
}

template <class Map>
double fill(const Order& order) {
  return bestOf(order.size(), [&] {
    Map m;
    for (const Variable* v : order) m.add(v, 1.5);
    sink += m.sum();
  });
}

template <class Map>
double addTo(const Order& present, const Order& order) {
  Map m;
  for (const Variable* v : present) m.add(v, 1);
  return bestOf(order.size(), [&] {
    for (const Variable* v : order) m.add(v, 0.5);
    sink += m.sum();
  });
}

template <class Map>
double walk(const Order& present) {
  Map m;
  for (const Variable* v : present) m.add(v, 1);
  return bestOf(present.size(), [&] { sink += m.sum(); });
}

template <class Map>
double fillSmall(const Order& order, size_t terms) {
  return bestOf(order.size(), [&] {
    for (size_t i = 0; i + terms <= order.size(); i += terms) {
      Map m;
      for (size_t k = 0; k < terms; ++k) m.add(order[i + k], 1);
      sink += m.sum();
    }
  });
}

void line(const char* label, double chunks, double tree, double flat) {
  std::printf("  %-34s%8.1f ns   tree %8.1f ns  ratio %5.2f   sorted vector", label, chunks, tree, chunks / tree);
  if (flat < 0)
    std::printf("   (quadratic)\n");
  else
    std::printf(" %8.1f ns  ratio %5.2f\n", flat, chunks / flat);
}

}  // namespace

int main() {
  constexpr size_t n = 1'000'000, few = 50'000;
  std::vector<std::unique_ptr<Variable>> variables;
  Order ascending;
  for (size_t i = 0; i < n; ++i) {
    variables.push_back(std::make_unique<Variable>(Variable{1, 0, i + 1}));
    ascending.push_back(variables.back().get());
  }
  Order shuffled = ascending;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
  Order local;  // a window that moves, as the rows of a network do
  for (size_t i = 0; i < n; ++i) local.push_back(ascending[std::min(n - 1, i + i * 7919 % 64)]);
  const Order few_up(ascending.begin(), ascending.begin() + few);
  Order few_shuffled = few_up;
  std::shuffle(few_shuffled.begin(), few_shuffled.end(), std::mt19937(7));

  line("3 terms each", fillSmall<Chunks>(local, 3), fillSmall<Tree>(local, 3), fillSmall<Flat>(local, 3));
  line("30 terms each, any order", fillSmall<Chunks>(shuffled, 30), fillSmall<Tree>(shuffled, 30),
       fillSmall<Flat>(shuffled, 30));
  line("1,000,000 ascending", fill<Chunks>(ascending), fill<Tree>(ascending), fill<Flat>(ascending));
  line("1,000,000 nearly ascending", fill<Chunks>(local), fill<Tree>(local), fill<Flat>(local));
  line("50,000 in random order", fill<Chunks>(few_shuffled), fill<Tree>(few_shuffled), fill<Flat>(few_shuffled));
  line("1,000,000 in random order", fill<Chunks>(shuffled), fill<Tree>(shuffled), -1);
  line("+= scattered over 50,000", addTo<Chunks>(few_up, few_shuffled), addTo<Tree>(few_up, few_shuffled),
       addTo<Flat>(few_up, few_shuffled));
  line("+= scattered over 1,000,000", addTo<Chunks>(ascending, shuffled), addTo<Tree>(ascending, shuffled),
       addTo<Flat>(ascending, shuffled));
  line("walk over 1,000,000", walk<Chunks>(ascending), walk<Tree>(ascending), walk<Flat>(ascending));
  return sink > 0 ? 0 : 1;
}
