#include "framework/Utilities/Boolean.h"

namespace fwk {

Boolean::~Boolean() noexcept(false) = default;

Boolean::operator bool() const {
  const MutexRead guard(m_lock);
  return m_value;
}

Boolean& Boolean::operator=(bool value) {
  const MutexWrite guard(m_lock);
  m_value = value;
  return *this;
}

}  // namespace fwk
