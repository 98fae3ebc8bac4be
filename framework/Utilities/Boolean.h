// fwk::Boolean is a thread-safe flag. Every access holds the flag's own lock for the time of a
// copy.

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

  // Reads or sets the flag. Throws, as the destructor does, if the lock fails (Locks.h).
  operator bool() const;
  Boolean& operator=(bool value);

 private:
  mutable MutexReadWriteInstance m_lock;
  bool m_value FWK_GUARDED_BY(m_lock) = false;
};

}  // namespace fwk
