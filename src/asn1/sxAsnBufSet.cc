#include "kxcert/asn1/sxAsnBufSet.h"

#include <algorithm>

#include "kxcert/platform/log.h"

namespace {

bool SortsBefore(const std::unique_ptr<sxAsnDataBuf> &a, const std::unique_ptr<sxAsnDataBuf> &b) {
  const int common = std::min(a->Len(), b->Len());
  const int order = std::memcmp(a->Data(), b->Data(), static_cast<size_t>(common));
  return order != 0 ? order < 0 : a->Len() < b->Len();
}

}  // namespace

sxAsnBufSet::sxAsnBufSet(int capacity, int scratchSize)
    : m_capacity(capacity > 0 ? capacity : 0),
      m_area(new unsigned char[scratchSize > 0 ? static_cast<size_t>(scratchSize) : 1]) {
  m_buf.Init(m_area.get(), scratchSize > 0 ? scratchSize : 0);
  m_buf.ReSet();
  m_buf.sortSets = 1;
}

sxAsnBufSet::~sxAsnBufSet() = default;

void sxAsnBufSet::FinishBuf() {
  if (static_cast<int>(m_elements.size()) < m_capacity) {
    m_elements.push_back(std::make_unique<sxAsnDataBuf>(m_buf.Curr(), m_buf.Written()));
    if (m_buf.Overflow()) m_error = true;
  } else {
    m_error = true;
  }
  m_buf.ReSet();
  m_buf.sortSets = 1;
}

int sxAsnBufSet::Encode(sxAsnWriteBuf &out) {
  if (m_error) return herror_func(0, 0, "sxAsnBufSet::Encoded writeError"), -1;
  std::stable_sort(m_elements.begin(), m_elements.end(), SortsBefore);
  int total = 0;
  for (auto element = m_elements.rbegin(); element != m_elements.rend(); ++element) {
    if (out.PutSeg((*element)->Data(), (*element)->Len()) < 0) {
      return herror_func(0, 0, "sxAsnBufSet::Encoded attempt to put segmant failed"), -1;
    }
    total += (*element)->Len();
  }
  return total;
}
