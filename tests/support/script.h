/// @file
/// Tests of objects as lines of text: each line calls a function of the test's, on objects that have names.
///
///   [what this part shows]      begins anew, without objects
///   b = Buf 0102                a function's result gets a name, ...
///   b.Append 03                 ... which stands before a function or among its arguments: "Append b 03"
///   b.Text              | 010203                       what the function gives as text
///   b.Get 7             | null  | Get: 7 is too large  and a text of its log, or "-": there is none
///   drop b                      the object goes; two blanks and "#" begin a reason
///
/// Words with blanks stand between quotes or braces. What is text, number, octets (in the notation of
/// CaseOctets) or the name of an object is said by the types of the function's parameters; "null" is no object.
#ifndef KXCERT_TESTS_SUPPORT_SCRIPT_H_
#define KXCERT_TESTS_SUPPORT_SCRIPT_H_

#include <deque>
#include <stdexcept>
#include <typeinfo>

#include "support/hexOctets.h"
#include "support/rows.h"
#include "support/tempDir.h"

class Script {
 public:
  /// Functions of at most these parameters and results: numbers, const char *, std::string, Octets, std::vector of
  /// words (all that are left), references and pointers to named objects, objects.
  template <class F>
  Script &On(const std::string &verb, F function) { return Add(verb, std::function(function)); }
  template <class R, class T, class... Args>
  Script &On(const std::string &verb, R (T::*function)(Args...)) {
    return Add(verb, std::function<R(T &, Args...)>(function));
  }
  template <class R, class T, class... Args>
  Script &On(const std::string &verb, R (T::*function)(Args...) const) {
    return Add(verb, std::function<R(const T &, Args...)>(function));
  }
  /// "copy x", "assign x y", "move x" and "moveTo x y" of these objects; x and y may be the same.
  template <class T>
  Script &OnCopiesOf() {
    return On("copy", [](const T &from) { return from; })
        .On("assign", [](T &to, const T &from) { to = from; })
        .On("move", [](T &from) { return T(std::move(from)); })
        .On("moveTo", [](T &to, T &from) { to = std::move(from); });
  }
  /// Verbs "write FILE TEXT", "contents FILE", "pipe FILE" and "unlink FILE" for it; "DIR" stands for its path in
  /// "exists PATH", "mode PATH", "chmod PATH MODE", "link TARGET PATH" and all others.
  Script &In(const TempDir &dir);
  /// @param file  below tests/data
  void Run(const std::string &file);

 private:
  using Words = std::vector<std::string>;
  template <class T>
  static const std::type_info &TypeOf() {
    return typeid(std::remove_cv_t<T> *);
  }
  struct Object {
    void *at = nullptr;
    const std::type_info *type = nullptr;
    std::shared_ptr<void> owned;
  };

  template <class R, class... Args>
  Script &Add(const std::string &verb, std::function<R(Args...)> function) {
    m_verbs[verb] = [function](Script &script, const Words &words) {
      return script.Call(function, words, std::index_sequence_for<Args...>());
    };
    return *this;
  }
  template <class R, class... Args, size_t... kAt>
  std::string Call(const std::function<R(Args...)> &function, const Words &words, std::index_sequence<kAt...>) {
    constexpr bool kTakesAll = (std::is_same_v<std::remove_cvref_t<Args>, Words> || ...);
    if (!kTakesAll && words.size() != sizeof...(Args)) throw std::runtime_error("number of words");
    if constexpr (std::is_void_v<R>) {
      function(From<Args>(words, kAt)...);
      return "";
    } else {
      return Result(function(From<Args>(words, kAt)...));
    }
  }

  template <class Arg>
  decltype(auto) From(const Words &words, size_t at) {
    using T = std::remove_cvref_t<Arg>;
    if constexpr (std::is_same_v<T, Words>) return Words(words.begin() + static_cast<long>(at), words.end());
    else if constexpr (std::is_same_v<T, std::string>) return Plain(words.at(at));
    else if constexpr (std::is_same_v<T, Octets>) return CaseOctets(words.at(at));
    else if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>) return static_cast<T>(Number(words.at(at)));
    else if constexpr (std::is_same_v<T, const char *>) return Kept(words.at(at));
    else if constexpr (std::is_same_v<T, const unsigned char *>) return KeptOctets(words.at(at));
    else if constexpr (std::is_pointer_v<T>) {
      return words.at(at) == "null" ? nullptr : static_cast<T>(Find(words.at(at), TypeOf<std::remove_pointer_t<T>>()));
    } else return *static_cast<T *>(Find(words.at(at), TypeOf<T>()));
  }

  template <class R>
  std::string Result(R &&result) {
    using T = std::remove_cvref_t<R>;
    if constexpr (std::is_same_v<T, std::string>) return result;
    else if constexpr (std::is_same_v<T, Octets>) return EncodeHex(result);
    else if constexpr (std::is_same_v<T, const char *>) return result == nullptr ? "(null)" : result;
    else if constexpr (std::is_arithmetic_v<T>) return std::to_string(result);
    else if constexpr (std::is_enum_v<T>) return std::to_string(static_cast<long long>(result));
    else if constexpr (std::is_pointer_v<T>) {
      using Pointed = std::remove_pointer_t<T>;
      return Named({const_cast<std::remove_const_t<Pointed> *>(result), &TypeOf<Pointed>(), {}});
    } else if constexpr (requires { typename T::deleter_type; }) {
      using Owned = typename T::element_type;
      Owned *const at = result.get();
      return Named({at, &TypeOf<Owned>(), std::shared_ptr<Owned>(std::move(result))});
    } else {
      const auto owned = std::make_shared<T>(std::forward<R>(result));
      return Named({owned.get(), &TypeOf<T>(), owned});
    }
  }

  static long long Number(const std::string &word) { return std::stoll(word, nullptr, 0); }
  const char *Kept(const std::string &word);
  const unsigned char *KeptOctets(const std::string &word);
  void *Find(const std::string &name, const std::type_info &type) const;
  /// Names the result if the line wants that. @return the name of the object, else "null" or "?"
  std::string Named(const Object &object);
  std::string Step(const std::string &line);
  std::string WithPath(std::string text, bool toPath) const;
  void Forget();

  std::map<std::string, std::function<std::string(Script &, const Words &)>> m_verbs;
  std::map<std::string, Object> m_objects;
  std::string m_dir;                 // "" for none
  std::deque<std::string> m_texts;   // that arguments point to
  std::string m_newName;             // of the result, if it gets one
};

#endif
