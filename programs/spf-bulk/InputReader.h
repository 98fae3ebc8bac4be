// InputReader is the thread that reads the input and hands its lines to the dispatcher, those of
// one read together.
//
// The owner makes it, starts it, and destroys it, which waits for the end of the thread.

#pragma once

#include <cstdint>

#include "framework/core/ThreadedObject.h"
#include "programs/spf-bulk/Dispatcher.h"
#include "programs/spf-bulk/LineSource.h"

class InputReader : public ThreadedObject {
 public:
  // Reads from where `input` is. Both must outlive the object.
  InputReader(LineSource& input, Dispatcher& dispatcher)
      : m_input(input), m_dispatcher(dispatcher) {}
  ~InputReader() noexcept(false) override;

  std::uint32_t ObjectThreadMethod() override;

 private:
  void ReadAll();

  LineSource& m_input;
  Dispatcher& m_dispatcher;
};
