#include "bench/reference.h"

#include <algorithm>
#include <utility>

namespace reference {

namespace {

std::vector<Reference>& registered() {
  static std::vector<Reference> all;
  return all;
}

}  // namespace

const std::vector<Reference>& references() { return registered(); }

const Reference* find(unsigned id) {
  for (const Reference& reference : registered())
    if (std::ranges::find(reference.ids, id) != reference.ids.end()) return &reference;
  return nullptr;
}

Registered::Registered(Reference reference) { registered().push_back(std::move(reference)); }

}  // namespace reference
