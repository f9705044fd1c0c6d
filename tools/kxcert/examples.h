/// @file
/// Examples: lines that work when they are pasted into a shell, in a folder that is empty.
#ifndef KXCERT_TOOLS_KXCERT_EXAMPLES_H_
#define KXCERT_TOOLS_KXCERT_EXAMPLES_H_

#include <string>
#include <string_view>

/// @param command  noun and verb
/// @return lines, each indented by two blanks and but for the last one ended by a line feed; "" for no verb's name
std::string ExampleOf(std::string_view command);

#endif
