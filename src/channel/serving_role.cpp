#include "channel/serving_role.h"

#include <utility>

namespace passbridge {

bool ServingRole::Take(Server server) {
  platform::MutexLock lock(lock_);
  if (server_ != Server::Nobody || isStopped_) return false;
  server_ = server;
  return true;
}

void ServingRole::GiveBack() {
  bool wake = false;
  {
    platform::MutexLock lock(lock_);
    if (std::exchange(server_, Server::Nobody) == Server::Waiting) applicationServed_ = true;
    wake = EventThreadIsWanted();
    if (isStopped_) idle_.NotifyAll();
  }
  if (wake) eventThreadWakeUp_.Wake();
}

bool ServingRole::EventThreadIsWanted() const {
  return hasNews_ && server_ == Server::Nobody && (!eventThreadLooks_ || bystanders_ != 0);
}

platform::WakeUp* ServingRole::Announce() {
  platform::MutexLock lock(lock_);
  hasNews_ = true;
  if (server_ == Server::Waiting) return &serverWakeUp_;
  return EventThreadIsWanted() ? &eventThreadWakeUp_ : nullptr;
}

bool ServingRole::TakeNews() {
  platform::MutexLock lock(lock_);
  return std::exchange(hasNews_, false);
}

bool ServingRole::WaitForNews() {
  for (;;) {
    bool looks = false;
    {
      platform::MutexLock lock(lock_);
      if (isStopped_) return false;
      if (hasNews_ && server_ == Server::Nobody) return true;
      looks = eventThreadLooks_ = std::exchange(applicationServed_, false);
    }
    if (looks) {
      eventThreadWakeUp_.WaitUntil(platform::DeadlineIn(kGrace));
    } else {
      eventThreadWakeUp_.Wait();
    }
  }
}

void ServingRole::Stop() {
  platform::MutexLock lock(lock_);
  isStopped_ = true;
  eventThreadWakeUp_.Wake();
  serverWakeUp_.Wake();
  while (server_ != Server::Nobody) idle_.Wait(lock_);
}

void ServingRole::Reopen() {
  platform::MutexLock lock(lock_);
  isStopped_ = false;
}

ServingRole::Bystander::Bystander(ServingRole& role) : role_(role) {
  bool wake = false;
  {
    platform::MutexLock lock(role_.lock_);
    ++role_.bystanders_;
    wake = role_.EventThreadIsWanted();
  }
  if (wake) role_.eventThreadWakeUp_.Wake();
}

ServingRole::Bystander::~Bystander() {
  platform::MutexLock lock(role_.lock_);
  --role_.bystanders_;
}

}  // namespace passbridge
