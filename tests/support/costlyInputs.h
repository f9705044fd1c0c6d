/// @file
/// Inputs made to cost much: many small parts, deep nesting, lengths that claim what follows. The octets
/// of each grow with the number of parts; so may the memory to decode them, and the time with that number
/// and its logarithm.
#ifndef KXCERT_TESTS_SUPPORT_COSTLYINPUTS_H_
#define KXCERT_TESTS_SUPPORT_COSTLYINPUTS_H_

#include <functional>
#include <ostream>
#include <vector>

#include "kxcert/asn1/sxAsnType.h"

struct CostlyInput {
  const char *name;
  const sxAsnTypeInfo *type;
  std::function<std::vector<unsigned char>(int numParts)> make;
  bool decodes = true;
};

const std::vector<CostlyInput> &CostlyInputs();

inline std::ostream &operator<<(std::ostream &out, const CostlyInput &input) { return out << input.name; }

#endif
