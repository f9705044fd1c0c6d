#include "pkxlMessage.h"

#include <initializer_list>

namespace {

// Both ends are of one installation: they differ only while it is being replaced.
constexpr uint32_t kVersion = 0x706B7802;
constexpr uint32_t kAlign = 4;
constexpr uint32_t kItemOverhead = 24;  // a length, and the gaps before it and behind it

bool PutNumber(pkxl_buf_iter *iter, uint32_t number) { return pkxl_buf_iter_put(iter, &number, sizeof number, kAlign); }
bool GetNumber(pkxl_buf_iter *iter, uint32_t *number) {
  return pkxl_buf_iter_get(iter, number, sizeof *number, kAlign);
}

bool GetVersion(pkxl_buf_iter *iter) {
  uint32_t version = 0;
  return GetNumber(iter, &version) && version == kVersion;
}

// Room for the numbers and items, cut to what was written.
template <class Put>
bool Write(std::initializer_list<pkxl_len_and_buf_t> items, kxBinBuf &message, Put putNumbers) {
  uint64_t room = 64;
  for (const pkxl_len_and_buf_t &item : items) room += uint64_t{item.len} + kItemOverhead;
  constexpr uint64_t kMaxRoom = 1 << 20;
  if (room > kMaxRoom) return false;
  message.SetSensitive(true);
  message.Set(static_cast<unsigned int>(room));
  message.Zero();
  pkxl_buf_iter iter;
  pkxl_buf_iter_init(&iter, message.Data(), message.Len());
  if (!PutNumber(&iter, kVersion) || !putNumbers(&iter)) return false;
  for (const pkxl_len_and_buf_t &item : items) {
    if (!pkxl_put_len_and_buf_on_iter(&iter, &item)) return false;
  }
  message.Set(iter.pos);
  return true;
}

}  // namespace

bool PkxlWrite(const PkxlRequest &request, kxBinBuf &message) {
  return Write({request.input, request.signature, request.key}, message, [&request](pkxl_buf_iter *iter) {
    return PutNumber(iter, request.operation) && PutNumber(iter, request.curve) && PutNumber(iter, request.capacity);
  });
}

bool PkxlRead(kxBinBuf &message, PkxlRequest *request) {
  pkxl_buf_iter iter;
  pkxl_buf_iter_init(&iter, message.Data(), message.Len());
  return GetVersion(&iter) && GetNumber(&iter, &request->operation) && GetNumber(&iter, &request->curve) &&
         GetNumber(&iter, &request->capacity) && pkxl_get_buf_ptr_and_len_from_iter(&iter, &request->input) &&
         pkxl_get_buf_ptr_and_len_from_iter(&iter, &request->signature) &&
         pkxl_get_buf_ptr_and_len_from_iter(&iter, &request->key) && pkxl_buf_iter_is_at_end(&iter);
}

bool PkxlWrite(const PkxlAnswer &answer, kxBinBuf &message) {
  return Write({answer.output}, message, [&answer](pkxl_buf_iter *iter) {
    return PutNumber(iter, answer.served) && PutNumber(iter, static_cast<uint32_t>(answer.result));
  });
}

bool PkxlRead(kxBinBuf &message, PkxlAnswer *answer) {
  pkxl_buf_iter iter;
  pkxl_buf_iter_init(&iter, message.Data(), message.Len());
  uint32_t served = 0, result = 0;
  if (!GetVersion(&iter) || !GetNumber(&iter, &served) || !GetNumber(&iter, &result)) return false;
  answer->served = served != 0;
  answer->result = static_cast<int32_t>(result);
  return pkxl_get_buf_ptr_and_len_from_iter(&iter, &answer->output) && pkxl_buf_iter_is_at_end(&iter);
}
