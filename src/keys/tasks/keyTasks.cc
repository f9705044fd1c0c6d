// What key tasks are and hold.
#include "kxcert/keys/keyTasks.h"

#include <cstring>

#include "kxcert/platform/secureMemory.h"

namespace {

struct TaskRCRow {
  int rc;
  const char *name;
};
constexpr TaskRCRow kTaskRCs[] = {
    {TASK_INSERTED_TO_QUEUE, "TASK_INSERTED_TO_QUEUE"},
    {TASK_SUCCESS, "TASK_SUCCESS"},
    {TASK_DECRYPT_ERROR, "TASK_DECRYPT_ERROR"},
    {TASK_GENERAL_ERROR, "TASK_GENERAL_ERROR"},
    {TASK_NOT_INITIALIZED, "TASK_NOT_INITIALIZED"},
    {TASK_SIGNING_ERROR, "TASK_SIGNING_ERROR"},
    {TASK_DERIVING_ERROR, "TASK_DERIVING_ERROR"},
    {TASK_CREATION_ERROR, "TASK_CREATION_ERROR"},
    {TASK_BAD_INPUT, "TASK_BAD_INPUT"},
    {TASK_WAIT_ERROR, "TASK_WAIT_ERROR"},
    {TASK_TIMEOUT, "TASK_TIMEOUT"},
    {TASK_QUEUING_ERROR, "TASK_QUEUING_ERROR"},
};

std::atomic<int> g_nextTaskId{1};

}  // namespace

const char *TaskRC2str(int rc) {
  for (const TaskRCRow &row : kTaskRCs) {
    if (row.rc == rc) return row.name;
  }
  return "Unknown Error";
}

TaskData::TaskData() : m_id(g_nextTaskId++) {}
TaskData::~TaskData() = default;

void TaskData_Save(TaskData *task) {
  if (task != nullptr) ++task->m_numRefs;
}

void TaskData_Free(TaskData *task) {
  if (task != nullptr && --task->m_numRefs == 0) delete task;
}

DHNewKeyTaskData::DHNewKeyTaskData(const char *groupName, int privBits)
    : m_hasGroup(groupName != nullptr), m_groupName(groupName != nullptr ? groupName : ""), m_privBits(privBits) {}

DHNewKeyTaskData::~DHNewKeyTaskData() { sxFreePubKey(m_key); }

void DHNewKeyTaskData::SetKey(sxPubKey *key) {
  sxFreePubKey(m_key);
  m_key = key;
}

sxPubKey *DHNewKeyTaskData::TakeKey() {
  sxPubKey *const key = m_key;
  m_key = nullptr;
  return key;
}

KeyOpTaskData::KeyOpTaskData(sxPubKey *key, sxPKop_type op, const unsigned char *data, int dataLen)
    : m_key(key), m_op(op) {
  m_input.SetSensitive(true);
  if (data != nullptr && dataLen > 0) m_input.Set(data, static_cast<unsigned int>(dataLen));
  sxSavePubKey(key);  // last: what throws above leaves no reference
}

KeyOpTaskData::~KeyOpTaskData() {
  SetResult(nullptr, 0);
  sxFreePubKey(m_key);
}

void KeyOpTaskData::SetResult(std::unique_ptr<unsigned char[]> octets, int len) {
  if (m_result != nullptr) KX_memset(m_result.get(), static_cast<size_t>(m_resultLen));
  m_result = std::move(octets);
  m_resultLen = len;
}

unsigned char *KeyOpTaskData::TakeResult(int *len) {
  *len = m_result == nullptr ? 0 : m_resultLen;
  m_resultLen = 0;
  return m_result.release();
}

DHDeriveKeyTaskData::DHDeriveKeyTaskData(sxPubKey *key, sxPKop_type op, const unsigned char *peer, int peerLen)
    : KeyOpTaskData(key, op, peer, peerLen) {}

RSASignKeyTaskData::RSASignKeyTaskData(sxPubKey *key, sxPKop_type op, sx_md_type md, const unsigned char *data,
                                       int dataLen)
    : KeyOpTaskData(key, op, data, dataLen), m_md(md) {}

RSADecryptKeyTaskData::RSADecryptKeyTaskData(sxPubKey *key, sxPKop_type op, const unsigned char *data, int dataLen,
                                             unsigned char *out, int outLen)
    : KeyOpTaskData(key, op, data, dataLen), m_out(out), m_outLen(outLen) {}
