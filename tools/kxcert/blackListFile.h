/// @file
/// Black lists from files: one serial number a line.
#ifndef KXCERT_TOOLS_KXCERT_BLACKLISTFILE_H_
#define KXCERT_TOOLS_KXCERT_BLACKLISTFILE_H_

#include <memory>
#include <string>

#include "kxcert/trust/sxcert_black_list.h"

class Report;

struct FreeBlackList {
  void operator()(sxcert_black_list *list) const {
    sxcert_black_list::free(list);  // NOLINT(clang-analyzer-unix.MismatchedDeallocator): its own, no free()
  }
};
using BlackListRef = std::unique_ptr<sxcert_black_list, FreeBlackList>;

/// Hexadecimal serial numbers, of either case, also with colons between octets, negative ones behind a
/// sign; empty lines and lines that begin with # are passed over. Every line that is none of these is a
/// problem: a list that lacks what its author meant decides nothing.
/// @return null when the file or one of its lines cannot be read
BlackListRef ReadBlackList(const std::string &path, Report &report);

#endif
