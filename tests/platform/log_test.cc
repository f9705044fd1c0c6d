#include "kxcert/platform/log.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "support/logCapture.h"

namespace {

using testing::ElementsAre;

TEST(Log, WritesOnlyThroughAnOpenGate) {
  constexpr struct { int debugPrint; int typeThr; int typeMaxThr; bool debugOn; bool traceOn; } kCases[] = {
      {0, 0, 0, false, false}, {1, 0, 0, true, false}, {0, 3, 3, false, false}, {0, 4, 0, true, false}, {0, 0, 4, false, true}};
  for (const auto &c : kCases) {
    LogCapture log;
    dodebugprt = c.debugPrint;
    g_MsgTypeThr = c.typeThr;
    g_MsgTypeMaxThr = c.typeMaxThr;
    EXPECT_EQ(0, herror_func(0, 0, "%s", "debug"));
    const unsigned char octet = 1;
    hex_herror(&octet, 1);
    tderrorFunc("t", 1, 0, "trace");
    error(0, 0, "always");
    g_MsgTypeThr = 0;
    EXPECT_EQ(c.debugOn, log.Has("debug"));
    EXPECT_EQ(c.debugOn, log.Has("01"));
    EXPECT_EQ(c.traceOn, log.Has("trace"));
    EXPECT_TRUE(log.Has("always"));
  }
}

TEST(Log, AppendsTheSystemErrorToErrorsOnly) {
  LogCapture log;
  tderrorFunc("fdb", 1, ENOENT, "open %d", 7);
  tderrorFunc("fdb", 2, ENOENT, "late");
  tderrorFunc("fdb", 1, 0, "plain");
  error(0, ENOENT, "read");
  EXPECT_THAT(log.Lines(), ElementsAre("[fdb] open 7: No such file or directory", "[fdb] late",
                                       "[fdb] plain", "read: No such file or directory"));
}

TEST(Log, WritesWholeLinesToItsSinkOrToStandardError) {
  {
    LogCapture log;
    for (const size_t len : {511U, 512U, 5000U}) {   // about the fixed area that most lines fit
      const std::string text(len, 'x');
      herror_func(0, 0, "%s", text.c_str());
      EXPECT_EQ(text, log.Lines().back());
    }
    log.Clear();
    const unsigned char octets[17] = {0xff};
    hex_herror(octets, sizeof octets);
    EXPECT_THAT(log.Lines(), ElementsAre("ff 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ", "00 "));
  }
  testing::internal::CaptureStderr();
  error(0, 0, "to whom it may concern");
  EXPECT_EQ("to whom it may concern\n", testing::internal::GetCapturedStderr());
}

}  // namespace
