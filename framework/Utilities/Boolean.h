// fwk::Boolean is a flag that any number of threads may read and set. Every access takes the lock
// of its own that the flag carries, for as long as the copy takes.

#pragma once

#include "framework/core/Export.h"
#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"

namespace fwk {

class FWK_EXPORT Boolean {
 public:
  Boolean() = default;  // false
  virtual ~Boolean() noexcept(false);

  Boolean(const Boolean&) = delete;
  Boolean& operator=(const Boolean&) = delete;

  // Read the flag, and set it. Both, and the destructor, throw where the lock fails (Locks.h).
  operator bool() const;
  Boolean& operator=(bool value);

 private:
  mutable MutexReadWriteInstance m_lock;
  bool m_value FWK_GUARDED_BY(m_lock) = false;
};

}  // namespace fwk
