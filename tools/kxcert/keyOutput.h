/// @file
/// Keys and other octets on their way out: forms, files, standard output.
#ifndef KXCERT_TOOLS_KXCERT_KEYOUTPUT_H_
#define KXCERT_TOOLS_KXCERT_KEYOUTPUT_H_

#include <span>
#include <string>
#include <vector>

#include "verb.h"

class kxBinBuf;
class Report;
class sxPubKey;
struct KeyProtection;

enum KeyForm : int { kKeyForm_set, kKeyForm_pem, kKeyForm_der };

struct OutputOptions {
  std::string file;  ///< "": standard output
  bool force = false;
};

/// "--out" and "--force".
std::vector<OptionRow> OutputRows(OutputOptions &options);
OptionRow FormRow(int &form);

bool CanBeReplaced(const std::string &path);  ///< what --force replaces: neither folders, pipes nor devices

/// Writes octets whole or not at all; a file is for its owner alone. What fails is a problem. @return whether it is done
bool WriteOctets(std::span<const unsigned char> octets, const OutputOptions &options, Report &report);

enum ObjectForm : int { kObjectForm_pem, kObjectForm_der };
OptionRow ObjectFormRow(int &form);
/// What a certificate, CRL or request is signed with: a sx_md_type, sx_md_sha256 to begin with.
OptionRow DigestRow(int &digest);

/// Writes an object that holds nothing secret. With --json the document holds it, as "der"; then a file is not needed.
bool WriteObject(std::span<const unsigned char> der, const char *pemLabel, int form, const OutputOptions &options,
                 Report &report);
std::string PemText(const kxBinBuf &der, const std::string &label);  ///< of what is not secret; "" for a failure

/// The same as a PEM block.
bool WritePem(const kxBinBuf &der, const std::string &label, const OutputOptions &options, Report &report);

/// Writes a key.
/// @param privatePart  else the public part, of whatever key
/// @param protection   null or not on: as it is
bool WriteKey(sxPubKey &key, bool privatePart, KeyForm form, const OutputOptions &options, Report &report,
              const KeyProtection *protection = nullptr);

#endif
