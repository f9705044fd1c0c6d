#include "support/derOctets.h"

#include <algorithm>

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

Octets Rewritten(const Octets &der, const std::function<Octets(int tag, const Octets &content)> &change) {
  Octets out;
  for (auto at = der.begin(); at != der.end();) {
    const int tag = *at;
    long len = at[1];
    at += 2;
    if (len >= 0x80) {
      int numOctets = static_cast<int>(len) & 0x7F;
      for (len = 0; numOctets > 0; --numOctets) len = len << 8 | *at++;
    }
    const Octets content(at, at + len);
    const Octets element = change(tag, (tag & 0x20) != 0 ? Rewritten(content, change) : content);
    out.insert(out.end(), element.begin(), element.end());
    at += len;
  }
  return out;
}

Octets Replaced(const Octets &der, const Octets &start, const Octets &by) {
  return Rewritten(der, [&](int tag, const Octets &content) {
    const Octets element = Der(tag, content);
    const bool isIt = element.size() >= start.size() && std::equal(start.begin(), start.end(), element.begin());
    return isIt ? by : element;
  });
}

std::unique_ptr<sxAsnOid> OidOf(const char *dotted) {
  return std::unique_ptr<sxAsnOid>(sxDN_Str2OID((std::string("OID.") + dotted).c_str()));
}
