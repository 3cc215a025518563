#include "channel/serving_role.h"

namespace passbridge {

bool ServingRole::Take(CJ2534Event* event) {
  platform::MutexLock lock(lock_);
  if (isTaken_ || isStopped_) return false;
  isTaken_ = true;
  server_ = event;
  return true;
}

void ServingRole::GiveBack() {
  platform::MutexLock lock(lock_);
  applicationServed_ = applicationServed_ || server_ != nullptr;
  isTaken_ = false;
  server_ = nullptr;
  if (hasNews_) WakeEventThread();
  if (isStopped_) idle_.NotifyAll();
}

void ServingRole::WakeEventThread() {
  if (!eventThreadLooks_ || bystanders_ != 0) eventThread_.Set();
}

void ServingRole::Announce() {
  platform::MutexLock lock(lock_);
  hasNews_ = true;
  if (server_ != nullptr) {
    server_->Poke();
  } else if (!isTaken_) {
    WakeEventThread();
  }
}

void ServingRole::NoteEmpty() {
  platform::MutexLock lock(lock_);
  hasNews_ = false;
}

bool ServingRole::HasNews() {
  platform::MutexLock lock(lock_);
  return hasNews_;
}

bool ServingRole::WaitForNews() {
  for (;;) {
    bool looks = false;
    {
      platform::MutexLock lock(lock_);
      if (isStopped_) return false;
      if (hasNews_ && !isTaken_) return true;
      looks = eventThreadLooks_ = applicationServed_;
      applicationServed_ = false;
    }
    if (looks) {
      eventThread_.TimedWait(kGrace);
    } else {
      eventThread_.Wait();
    }
  }
}

void ServingRole::Stop() {
  platform::MutexLock lock(lock_);
  isStopped_ = true;
  eventThread_.Set();
  if (server_ != nullptr) server_->Poke();
  while (isTaken_) idle_.Wait(lock_);
}

void ServingRole::Reopen() {
  platform::MutexLock lock(lock_);
  isStopped_ = false;
}

bool ServingRole::IsStopped() {
  platform::MutexLock lock(lock_);
  return isStopped_;
}

ServingRole::Bystander::Bystander(ServingRole& role) : role_(role) {
  platform::MutexLock lock(role_.lock_);
  ++role_.bystanders_;
  if (role_.hasNews_ && !role_.isTaken_) role_.eventThread_.Set();
}

ServingRole::Bystander::~Bystander() {
  platform::MutexLock lock(role_.lock_);
  --role_.bystanders_;
}

}  // namespace passbridge
