#ifndef PASSBRIDGE_SUPPORT_SCRIPTED_FUNCTION_H_
#define PASSBRIDGE_SUPPORT_SCRIPTED_FUNCTION_H_

#include <deque>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>

#include "support/call_log.h"

namespace passbridge::test {

/// One entry point of a scripted D-PDU library: what it does and what it gives. A call is logged;
/// then the first of these decides that applies:
///   1. the results queued by Next(), one a call: a failure is given back at once, success goes on;
///   2. the failure set by Always();
///   3. the action set by Does(), else the built-in one. Its result is the result.
/// Any thread may call and program it.
template <typename Function>
class ScriptedFunction;

template <typename... Args>
class ScriptedFunction<T_PDU_ERROR PDUAPI(Args...)> {
 public:
  using Action = std::function<T_PDU_ERROR(Args...)>;

  ScriptedFunction(CallLog& log, const char* name) : log_(log), name_(name) {}

  void Next(std::initializer_list<T_PDU_ERROR> results) {
    const std::lock_guard<std::mutex> lock(lock_);
    results_.insert(results_.end(), results);
  }
  void Always(T_PDU_ERROR result) {
    const std::lock_guard<std::mutex> lock(lock_);
    result_ = result;
  }
  /// Called without a lock held; an empty action restores the built-in one.
  void Does(Action action) {
    const std::lock_guard<std::mutex> lock(lock_);
    action_ = std::move(action);
  }
  /// What a call does unless Does() says otherwise; for actions that build on it.
  T_PDU_ERROR BuiltIn(Args... args) const { return builtIn_ ? builtIn_(args...) : 0; }
  void SetBuiltIn(Action action) { builtIn_ = std::move(action); }

  T_PDU_ERROR Invoke(Args... args) {
    log_.Add(std::string(name_) + "(" + RenderAll(args...) + ")");
    Action action;
    if (const T_PDU_ERROR failure = Decide(action)) return failure;
    return action ? action(args...) : BuiltIn(args...);
  }

 private:
  static std::string RenderAll(Args... args) {
    std::string text;
    ((text += (text.empty() ? "" : ", ") + Render(args)), ...);
    return text;
  }

  T_PDU_ERROR Decide(Action& action) {
    const std::lock_guard<std::mutex> lock(lock_);
    action = action_;
    if (results_.empty()) return result_;
    const T_PDU_ERROR result = results_.front();
    results_.pop_front();
    return result;
  }

  CallLog& log_;
  const char* const name_;
  Action builtIn_;  // constant once the library is bound
  std::mutex lock_;
  std::deque<T_PDU_ERROR> results_;
  T_PDU_ERROR result_ = PDU_STATUS_NOERROR;
  Action action_;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_SUPPORT_SCRIPTED_FUNCTION_H_
