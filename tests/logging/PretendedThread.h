// Lets a thread pass for one of another number.

#pragma once

#include <pthread.h>

// While one exists, pthread_self() gives number to the thread that made it. One at a time.
class PretendedThread {
 public:
  explicit PretendedThread(pthread_t number);
  ~PretendedThread();

  PretendedThread(const PretendedThread&) = delete;
  PretendedThread& operator=(const PretendedThread&) = delete;
};
