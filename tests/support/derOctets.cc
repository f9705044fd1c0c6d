#include "support/derOctets.h"

#include "kxcert/cert/sxDN.h"

Octets Joined(std::initializer_list<Octets> parts) {
  Octets all;
  for (const Octets &part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Octets Text(const std::string &text) { return Octets(text.begin(), text.end()); }

Octets Der(int tag, const Octets &content) {
  Octets element = {static_cast<unsigned char>(tag)};
  const size_t len = content.size();
  if (len >= 0x80) {
    const int numOctets = len < 0x100 ? 1 : len < 0x10000 ? 2 : 3;
    element.push_back(static_cast<unsigned char>(0x80 + numOctets));
    for (int i = numOctets - 1; i > 0; --i) element.push_back(static_cast<unsigned char>(len >> (8 * i)));
  }
  element.push_back(static_cast<unsigned char>(len));
  element.insert(element.end(), content.begin(), content.end());
  return element;
}

Octets Der(int tag, std::initializer_list<Octets> parts) { return Der(tag, Joined(parts)); }

Octets Indefinite(int tag, const Octets &content) {
  return Joined({{static_cast<unsigned char>(tag), 0x80}, content, {0, 0}});
}

std::unique_ptr<sxAsnOid> OidOf(const char *dotted) {
  return std::unique_ptr<sxAsnOid>(sxDN_Str2OID((std::string("OID.") + dotted).c_str()));
}

Octets Ava(const char *oid, int tag, const Octets &value) {
  const std::unique_ptr<sxAsnOid> type = OidOf(oid);
  return Der(0x30, {Der(0x06, Octets(type->Data(), type->Data() + type->Len())), Der(tag, value)});
}

Octets NameOf(std::initializer_list<Octets> avas) {
  Octets rdns;
  for (const Octets &ava : avas) {
    const Octets rdn = Der(0x31, ava);
    rdns.insert(rdns.end(), rdn.begin(), rdn.end());
  }
  return Der(0x30, rdns);
}
