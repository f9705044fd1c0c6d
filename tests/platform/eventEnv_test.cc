#include "kxcert/platform/eventEnv.h"

#include <event2/event.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Env = std::unique_ptr<sxd_env, decltype(&sxd_env_destroy)>;
Env NewEnv() { return Env(sxd_env_create(), sxd_env_destroy); }

constexpr int kLongMs = 20000;   // nothing takes as long unless it hangs

struct Note {
  std::string *text;
  char letter;
  sxd_env *stops = nullptr;
};
void Write(void *opaque) {
  const auto *note = static_cast<const Note *>(opaque);
  *note->text += note->letter;
  if (note->stops != nullptr) sxd_env_stop(note->stops);
}

TEST(EventEnv, CallsComeLaterAndInOrder) {
  const Env env = NewEnv();
  std::string text;
  Note a{&text, 'a'}, b{&text, 'b'}, late{&text, 'l'}, last{&text, 'z', env.get()};
  EXPECT_EQ(0, T_event_sched_e(env.get(), 60, Write, &last));
  EXPECT_EQ(0, T_event_sched_e(env.get(), 20, Write, &late));
  EXPECT_EQ(0, T_event_sched_e(env.get(), 0, Write, &a));
  EXPECT_EQ(0, T_event_sched_e(env.get(), 0, Write, &b));
  EXPECT_EQ("", text) << "not within the posting";
  EXPECT_EQ(0, sxd_env_run_for(env.get(), kLongMs));
  EXPECT_EQ("ablz", text);
}

TEST(EventEnv, OtherThreadsWakeTheLoop) {
  const std::unique_ptr<event_base, decltype(&event_base_free)> base(event_base_new(), event_base_free);
  const Env env(sxd_env_wrap(base.get()), sxd_env_destroy);
  std::string text;
  std::vector<Note> notes(100, Note{&text, 'x'});
  notes.back().stops = env.get();
  std::thread poster([&] {
    for (Note &note : notes) EXPECT_EQ(0, T_event_sched_e(env.get(), 0, Write, &note));
  });
  EXPECT_EQ(0, sxd_env_run_for(env.get(), kLongMs));
  poster.join();
  EXPECT_EQ(std::string(100, 'x'), text);
}

TEST(EventEnv, RefusesAndDrops) {
  std::string text;
  Note note{&text, 'x'};
  EXPECT_EQ(-1, T_event_sched_e(nullptr, 0, Write, &note));
  Env env = NewEnv();
  EXPECT_EQ(-1, T_event_sched_e(env.get(), 0, nullptr, &note));
  EXPECT_EQ(-1, T_event_sched_e(env.get(), -1, Write, &note));
  EXPECT_EQ(nullptr, sxd_env_wrap(nullptr));
  EXPECT_EQ(0, T_event_sched_e(env.get(), 60000, Write, &note));
  EXPECT_EQ(0, sxd_env_run_for(env.get(), 0));
  EXPECT_EQ(0, T_event_sched_e(env.get(), 0, Write, &note));
  env.reset();
  EXPECT_EQ("", text);
}

TEST(EventEnv, MayGoWithinOneOfItsCalls) {
  std::string text;
  Note dropped{&text, 'x'};
  sxd_env *const env = sxd_env_create();
  EXPECT_EQ(0, T_event_sched_e(env, 0, [](void *self) { sxd_env_destroy(static_cast<sxd_env *>(self)); }, env));
  for (const int delayMs : {0, 1}) EXPECT_EQ(0, T_event_sched_e(env, delayMs, Write, &dropped));
  EXPECT_EQ(0, sxd_env_run(env)) << "the run ends";
  EXPECT_EQ("", text);
}

}  // namespace
