// InputReader is the thread that reads the input and hands its lines to the dispatcher, together
// those of one read.
//
// Its owner makes, starts and destroys it. The destructor waits for the end of the thread.

#pragma once

#include <cstdint>

#include "framework/core/ThreadedObject.h"
#include "programs/spf-bulk/Dispatcher.h"
#include "programs/spf-bulk/LineSource.h"

class InputReader : public ThreadedObject {
 public:
  // Continues where `input` is. Both must outlive the object.
  InputReader(LineSource& input, Dispatcher& dispatcher)
      : m_input(input), m_dispatcher(dispatcher) {}
  ~InputReader() noexcept(false) override;

  std::uint32_t ObjectThreadMethod() override;

 private:
  void ReadAll();

  LineSource& m_input;
  Dispatcher& m_dispatcher;
};
