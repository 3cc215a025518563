#ifndef PASSBRIDGE_TRACE_METHODS_H_
#define PASSBRIDGE_TRACE_METHODS_H_

#include "trace/method.h"

/// The traced methods, as methods.list has them: methods::channel::kPassThruConnect.
namespace passbridge::methods {

#define LAST_ERROR(number, constant, name) inline constexpr Method constant{name, kModule, number};
#define QUIET(number, constant, name) \
  inline constexpr Method constant{name, kModule, number, 0xFF, false};
#include "trace/methods.list"
#undef LAST_ERROR
#undef QUIET

}  // namespace passbridge::methods

#endif  // PASSBRIDGE_TRACE_METHODS_H_
