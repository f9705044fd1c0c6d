/// @file
/// Serial numbers that nobody gave.
#ifndef KXCERT_SRC_CERT_RANDOMSERIAL_H_
#define KXCERT_SRC_CERT_RANDOMSERIAL_H_

#include "kxcert/cert/issueCert.h"

/// Draws one that is positive, and of this length whatever was drawn. Any thread, in any child of a fork.
/// @return false: no entropy
bool sxDrawSerial(unsigned char (&serial)[kRandomSerialLen]);

#endif
