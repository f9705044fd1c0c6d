#include "kxcert/asn1/octetStore.h"

void sxOctets::AssignLong(const unsigned char *data, int len) {
  if (len <= 0) return Clear();
  if (len <= m_len && m_len > kInline && len > kInline) {
    std::memmove(m_area.heap.octets, data, static_cast<size_t>(len));
    m_len = len;
    return;
  }
  unsigned char *const old = m_len > kInline ? m_area.heap.octets : nullptr;
  if (len > kInline) {
    auto *block = new unsigned char[static_cast<size_t>(len)];
    std::memcpy(block, data, static_cast<size_t>(len));  // before the old block goes
    m_area.heap.octets = block;
    m_len = len;
  } else {
    unsigned char copy[kInline];
    m_len = len;
    std::memcpy(copy, data, static_cast<size_t>(m_len));
    std::memcpy(m_area.here, copy, static_cast<size_t>(m_len));
  }
  delete[] old;
}

unsigned char *sxOctets::Resize(int len) {
  if (m_len > kInline) delete[] m_area.heap.octets;
  m_len = 0;
  if (len > kInline) m_area.heap.octets = new unsigned char[static_cast<size_t>(len)];
  m_len = len > 0 ? len : 0;
  return Data();
}
