// A system that has no thread to give.
#pragma once

#include <pthread.h>

#include <cstddef>

namespace quorvin {

/// While it lives no thread of this process can be started: each would need a larger stack than
/// there are addresses.
class NoMoreThreads {
 public:
  NoMoreThreads() {
    pthread_attr_init(&before_);
    pthread_getattr_default_np(&before_);
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 47);
    pthread_setattr_default_np(&huge);
    pthread_attr_destroy(&huge);
  }
  ~NoMoreThreads() {
    pthread_setattr_default_np(&before_);
    pthread_attr_destroy(&before_);
  }
  NoMoreThreads(const NoMoreThreads&) = delete;
  NoMoreThreads& operator=(const NoMoreThreads&) = delete;

 private:
  pthread_attr_t before_;
};

}  // namespace quorvin
