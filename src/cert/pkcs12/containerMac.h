/// @file
/// MACs of containers: of the container's own key derivation (RFC 7292, B.4), and PBMAC1 (RFC 9579).
#ifndef KXCERT_SRC_CERT_PKCS12_CONTAINERMAC_H_
#define KXCERT_SRC_CERT_PKCS12_CONTAINERMAC_H_

#include "containerPassword.h"
#include "containerRead.h"

sxPkcs12Protection ProtectionOf(const ContainerMac &mac);

/// Whether the MAC is that of these octets and the password; sxPkcs12_wrongPassword when not.
bool CheckMac(const ContainerMac &mac, sxOctetView octets, ContainerPassword &password, ContainerFailure *failure);

/// @param settings  within their limits
/// @param[out] out  DER of MacData
bool MakeMac(const sxPkcs12Settings &settings, sxOctetView octets, sxPbeOctets password, kxBinBuf *out,
             ContainerFailure *failure);

#endif
