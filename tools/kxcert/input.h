/// @file
/// Input: what a file holds, whatever form it has.
///
/// DER; PEM with any number of blocks and any text around them; "{ASN}" and hexadecimal text, which
/// lists the octets last one first.
#ifndef KXCERT_TOOLS_KXCERT_INPUT_H_
#define KXCERT_TOOLS_KXCERT_INPUT_H_

#include <string>
#include <vector>

constexpr size_t kMaxInputLen = size_t{1} << 28;  ///< octets; a large CRL has tens of millions

struct Block {
  std::string label;               ///< of PEM: "CERTIFICATE"; empty for other forms
  std::string where;               ///< names the block in messages: file, and line for PEM
  std::vector<unsigned char> der;  ///< empty when the block cannot be read
  std::string error;               ///< why not
};

struct Input {
  std::string name;  ///< as given
  std::vector<Block> blocks;
  std::string error;  ///< why there are no blocks; else empty
};

/// Reads a file, or standard input for "-", which can be read only once.
Input ReadInput(const std::string &path);

/// Splits what was read. @p name is only for Block::where and Input::name.
Input SplitInput(const std::string &name, std::string octets);

/// Reads everything, kMaxInputLen octets at most. @return empty, or why it failed
std::string ReadOctets(const std::string &path, std::string &out);

#endif
