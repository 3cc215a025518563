#ifndef PASSBRIDGE_TESTS_STRESS_ACTORS_H_
#define PASSBRIDGE_TESTS_STRESS_ACTORS_H_

#include <array>

#include "caller.h"
#include "loaded_libraries.h"

namespace passbridge::stress {

/// What one thread does over and over until the world stops. All of them may run several times.
using Actor = void (*)(Caller&);

void Reader(Caller& me);
void Writer(Caller& me);
void Filterer(Caller& me);
void PeriodicSender(Caller& me);
void Configurer(Caller& me);
void Clearer(Caller& me);
/// Connects and disconnects every channel but the first device's first.
void Connector(Caller& me);

struct ActorRow {
  const char* name;
  Actor actor;
};

constexpr std::array<ActorRow, 12> kActors{{
    {"reader 1", Reader},
    {"reader 2", Reader},
    {"reader 3", Reader},
    {"reader 4", Reader},
    {"writer 1", Writer},
    {"writer 2", Writer},
    {"writer 3", Writer},
    {"filterer", Filterer},
    {"periodic sender", PeriodicSender},
    {"configurer", Configurer},
    {"clearer", Clearer},
    {"connector", Connector},
}};

/// Connects the first channel of an open device, in a Standstill.
void ConnectFirst(Caller& me, Device& device);

}  // namespace passbridge::stress

#endif  // PASSBRIDGE_TESTS_STRESS_ACTORS_H_
