// Lengths of private values that can be asked for.
#ifndef KXCERT_SRC_KEYS_DH_DHPRIVLEN_H_
#define KXCERT_SRC_KEYS_DH_DHPRIVLEN_H_

// Octets that hold so many bits; of any int that is not negative.
constexpr int DhOctets(int bits) { return bits / 8 + (bits % 8 != 0 ? 1 : 0); }

// From kMinDhPrivBytes up to the modulus; for any other length the group's own is used.
[[nodiscard]] bool DhPrivLenFits(int privBits, int modLen);

#endif
