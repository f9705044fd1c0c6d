#include "kxcert/keys/sxDhParams.h"

#include "dhGroupTable.h"
#include "dhPrivLen.h"

class sxDhParams_imp {
 public:
  sxDhParams_imp(const char *groupName, int privBits) {
    m_group.name = groupName == nullptr ? "" : groupName;
    const std::string name = m_group.name;
    m_ok = CopyDhGroup("sxDhParams", name.c_str(), &m_group);
    if (m_ok && DhPrivLenFits(privBits, static_cast<int>(m_group.mod.size()))) m_group.privBits = privBits;
  }

  DhGroup m_group;
  bool m_ok = false;
};

bool DhPrivLenFits(int privBits, int modLen) {
  return privBits > 0 && DhOctets(privBits) >= kMinDhPrivBytes && DhOctets(privBits) <= modLen;
}

sxDhParams::sxDhParams(const char *groupName, int privBits) : m_imp(new sxDhParams_imp(groupName, privBits)) {}
sxDhParams::~sxDhParams() { delete m_imp; }

int sxDhParams::OK() const { return m_imp->m_ok ? 1 : 0; }
const char *sxDhParams::Name() const { return m_imp->m_group.name.c_str(); }
const unsigned char *sxDhParams::Mod() const { return OK() ? m_imp->m_group.mod.data() : nullptr; }
int sxDhParams::ModLen() const { return static_cast<int>(m_imp->m_group.mod.size()); }
const unsigned char *sxDhParams::Gen() const { return OK() ? m_imp->m_group.gen.data() : nullptr; }
int sxDhParams::GenLen() const { return static_cast<int>(m_imp->m_group.gen.size()); }
int sxDhParams::PrivBits() const { return m_imp->m_group.privBits; }
int sxDhParams::PrivBytes() const { return DhOctets(PrivBits()); }
