#include "kxcert/asn1/sxAsnAny.h"

#include <utility>

#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/foundation/hashTable.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "modules/registerModules.h"
#include "primitive.h"

namespace {

constexpr int kNumBuckets = 256;

unsigned HashOid(const void *key) {
  const auto *oid = static_cast<const sxAsnOid *>(key);
  return hash_bytevalue(oid->Data(), oid->Len());
}
int CompareOid(const void *a, const void *b) {
  return static_cast<const sxAsnOid *>(a)->OidEquiv(*static_cast<const sxAsnOid *>(b)) ? 0 : 1;
}
unsigned HashInt(const void *key) { return static_cast<unsigned>(static_cast<const sxAsnInt *>(key)->GetShortVal()); }
int CompareInt(const void *a, const void *b) {
  return static_cast<const sxAsnInt *>(a)->intEquiv(*static_cast<const sxAsnInt *>(b)) ? 0 : 1;
}
void DestroyInfo(void *data) { delete static_cast<sxAnyInfo *>(data); }

// The keys lie within the entries, so that only the entries are destroyed. The tables live for the
// process: open types are decoded by static destructors of users, too.
kxHashTable *OidTable() {
  static kxHashTable *const table = _hash_create_with_destr(kNumBuckets, HashOid, CompareOid, nullptr, DestroyInfo);
  return table;
}
kxHashTable *IntTable() {
  static kxHashTable *const table = _hash_create_with_destr(kNumBuckets, HashInt, CompareInt, nullptr, DestroyInfo);
  return table;
}

sxAsnType *NewValue(const sxAnyInfo *info) {
  if (info == nullptr) return new sxAsnRawAny;
  return info->prototype != nullptr ? info->prototype->Clone() : nullptr;
}

}  // namespace

// Outside the header, as what it calls is not exported.
sxAsnRawAny::sxAsnRawAny(const sxAsnRawAny &other) = default;
sxAsnRawAny &sxAsnRawAny::operator=(const sxAsnRawAny &other) = default;
void sxAsnRawAny::SetData(const unsigned char *octets, int len) {
  m_octets.Assign(octets, octets == nullptr ? 0 : len);
}

constinit const sxAsnTypeInfo sxAsnRawAny::kInfo = {
    "sxAsnRawAny", sxAsnKind::kAny, false, false, 0, sxAsnCreate<sxAsnRawAny>, nullptr, 0};
constinit const sxAsnTypeInfo sxAsnAny::kInfo = {"sxAsnAny", sxAsnKind::kAny,       false,   false,
                                                 0,          sxAsnCreate<sxAsnAny>, nullptr, 0};

int sxAsnRawAny::BDec(sxAsnReadBuf &buf, int &bytesDecoded) {
  const unsigned char *const start = buf.Curr();
  const int startOffset = buf.GetOffset();
  int depth = 0;
  do {
    int count = 0;
    const int tag = BDecTag(buf, count);
    if (tag == 0) {
      if (depth == 0) {
        herror_func(0, 0, "sxAsnRawAny::BDec attempt to decode length failed");
        return -1;
      }
      const int second = buf.GetByte();
      if (second < 0) {
        herror_func(0, 0, "sxAsnRawAny::BDec attempt to decoded Eoc failed, can't read from buf offset = %d",
                    buf.GetOffset());
        return -1;
      }
      if (second != 0) {
        herror_func(0, 0, "sxAsnRawAny::BDec attempt to decoded Eoc failed, Eoc != 0  before offset = %d",
                    buf.GetOffset());
        return -1;
      }
      --depth;
      continue;
    }
    const int len = tag < 0 ? -1 : BDecLen(buf, count);
    if (len == kIndefiniteLen) {
      ++depth;
    } else if (len < 0) {
      herror_func(0, 0, "sxAsnRawAny::BDec attempt to decode length failed");
      return -1;
    } else if (buf.Skip(len) != len) {
      herror_func(0, 0, "sxAsnRawAny::Bdec attempt to skip %u octet failed before offset = %d",
                  static_cast<unsigned int>(len), buf.GetOffset());
      return -1;
    }
  } while (depth > 0);
  const int taken = buf.GetOffset() - startOffset;
  m_octets.Assign(start, taken);
  bytesDecoded += taken;
  return 1;
}

int sxAsnRawAny::BEnc(sxAsnWriteBuf &buf) {
  if (Len() == 0) return -1;
  return buf.PutSeg(Data(), Len()) < 0 ? -1 : Len();
}

int sxAsnRawAny::Describe(SxStream &out, int indent) const {
  out.Puts("Raw Any");
  HexPrint(out, Data(), Len(), indent);
  return 0;
}

sxAsnAny::sxAsnAny(const sxAsnOid &type) {
  SetTypeByOid(type);
  m_value.reset(NewValue(m_info));
}

sxAsnAny::sxAsnAny(const sxAsnOid &type, sxAsnType *value) : m_value(value) { SetTypeByOid(type); }

sxAsnAny::sxAsnAny(const sxAsnInt &type) {
  SetTypeByInt(type);
  m_value.reset(NewValue(m_info));
}

sxAsnAny::sxAsnAny(const sxAsnInt &type, sxAsnType *value) : m_value(value) { SetTypeByInt(type); }

void sxAsnAny::SetTypeByOid(const sxAsnOid &type) { m_info = FindByOid(type); }
void sxAsnAny::SetTypeByInt(const sxAsnInt &type) { m_info = FindByInt(type); }

const sxAnyInfo *sxAsnAny::FindByOid(const sxAsnOid &oid) {
  sxAsnRegisterModules();
  return static_cast<const sxAnyInfo *>(hash_lookup(OidTable(), &oid));
}

const sxAnyInfo *sxAsnAny::FindByInt(const sxAsnInt &number) {
  sxAsnRegisterModules();
  return static_cast<const sxAnyInfo *>(hash_lookup(IntTable(), &number));
}

void sxAsnAny::InstallAnyByOid(const sxAsnOid &oid, int anyId, sxAsnType *prototype) {
  std::unique_ptr<sxAsnType> owned(prototype);
  if (hash_lookup(OidTable(), &oid) != nullptr) {
    herror_func(0, 0, "sxAsnAny::InstallAnyByOid: duplicate OID ");
    return;
  }
  auto info = std::make_unique<sxAnyInfo>(sxAnyInfo{anyId, oid, sxAsnInt(), std::move(owned)});
  if (hash_insert(OidTable(), &info->oid, info.get()) != 0) {
    herror_func(0, 0, "sxAsnAny::InstallAnyByOid attempt to insert into hash failed");
    return;
  }
  static_cast<void>(info.release());  // the table's now
}

void sxAsnAny::InstallAnyByInt(const sxAsnInt &number, int anyId, sxAsnType *prototype) {
  std::unique_ptr<sxAsnType> owned(prototype);
  if (hash_lookup(IntTable(), &number) != nullptr) {
    herror_func(0, 0, "sxAsnAny::InstallAnyByInt Duplicate Int");
    return;
  }
  auto info = std::make_unique<sxAnyInfo>(sxAnyInfo{anyId, sxAsnOid(), number, std::move(owned)});
  if (hash_insert(IntTable(), &info->number, info.get()) != 0) {
    herror_func(0, 0, "sxAsnAny::InstallAnyByInt attempt to insert into  hash failed");
    return;
  }
  static_cast<void>(info.release());
}

sxAsnType *sxAsnAny::GetType(const char *name) {
  if (sxAsnType *self = sxAsnType::GetType(name); self != nullptr) return self;
  return m_value != nullptr ? m_value->GetType(name) : nullptr;
}

sxAsnType *sxAsnAny::Dup() const {
  sxAsnType *copy = Clone();
  copy->CopyFrom(*this);
  return copy;
}

int sxAsnAny::CopyFrom(const sxAsnType &other) {
  if (other.Info() != Info()) return -1;
  const auto &from = static_cast<const sxAsnAny &>(other);
  if (&from == this) return 0;
  std::unique_ptr<sxAsnType> copy(from.m_value != nullptr ? from.m_value->Dup() : nullptr);
  m_info = from.m_info;
  m_value = std::move(copy);  // last: either value may be a part of the other
  return 0;
}

int sxAsnAny::BDec(sxAsnReadBuf &buf, int &bytesDecoded) {
  const std::unique_ptr<sxAsnType> old = std::exchange(m_value, std::unique_ptr<sxAsnType>(NewValue(m_info)));
  if (m_value == nullptr) return herror_func(0, 0, "sxAsnAny::BDec value is NULL"), -1;
  const sxAsnLevel level(buf);
  const int start = buf.GetOffset();
  int counted = 0;  // not to be relied on: strings count an empty one too low
  if (!level.Ok() || m_value->BDec(buf, counted) < 0) {
    return herror_func(0, 0, "sxAsnAny::BDec attempt to decoded failed"), -1;
  }
  bytesDecoded += buf.GetOffset() - start;
  return 1;
}

// The raw element comes first: it is what stays when the attempt fails, and its end bounds the attempt.
int sxAsnAny::BDecOrKeepRaw(sxAsnReadBuf &buf, int &bytesDecoded) {
  if (m_info == nullptr) return BDec(buf, bytesDecoded);
  const unsigned char *const start = buf.Curr();
  auto raw = std::make_unique<sxAsnRawAny>();
  if (raw->BDec(buf, bytesDecoded) < 0) return -1;
  const unsigned char *const end = buf.Curr();
  const unsigned char *const bufEnd = buf.End();
  buf.SetEnd(end);
  buf.Rewind(start);
  int counted = 0;
  const bool isWhole = BDec(buf, counted) >= 0 && buf.Curr() == end;
  buf.SetEnd(bufEnd);
  buf.Rewind(end);
  if (!isWhole) m_value = std::move(raw);
  return 1;
}

int sxAsnAny::BEnc(sxAsnWriteBuf &buf) {
  const int len = m_value != nullptr ? m_value->BEnc(buf) : -1;
  if (len < 0) herror_func(0, 0, "SxAsnAny::BEnc attempt to encoded failed");
  return len;
}

int sxAsnAny::Describe(SxStream &out, int indent) const {
  if (m_value != nullptr) return m_value->Describe(out, indent);
  out.Puts("<null>\n");
  return 0;
}
