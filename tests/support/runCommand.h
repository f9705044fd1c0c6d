/// @file
/// Runs a program that the tests compare with.
#ifndef KXCERT_TESTS_SUPPORT_RUNCOMMAND_H_
#define KXCERT_TESTS_SUPPORT_RUNCOMMAND_H_

#include <string>

/// What the shell command writes to standard output. The running test fails when the command does.
std::string RunCommand(const std::string &command);

#endif
