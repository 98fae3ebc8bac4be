// Gives a thread another number.

#pragma once

#include <pthread.h>

// While one exists, pthread_self() returns `number` on the thread that made it. One at a time.
class PretendedThread {
 public:
  explicit PretendedThread(pthread_t number);
  ~PretendedThread();

  PretendedThread(const PretendedThread&) = delete;
  PretendedThread& operator=(const PretendedThread&) = delete;
};
