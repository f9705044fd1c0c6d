/// @file
/// Times as their encoding has them: "20500101000000Z", whatever the library makes of it.
#ifndef KXCERT_TOOLS_KXCERT_WRITTENTIME_H_
#define KXCERT_TOOLS_KXCERT_WRITTENTIME_H_

#include <string>

#include "facts.h"

class sxASN_Time;
class sxCRL;

Facts WrittenTime(const sxASN_Time *time);  ///< null without one

std::string ExactTimeText(const sxASN_Time *time);  ///< "2050-01-01 00:00:00 UTC", or that it cannot be read

struct WrittenUpdates {
  Facts thisUpdate, nextUpdate;  // null where there is none
};
WrittenUpdates WrittenUpdatesOf(const sxCRL &crl);

#endif
