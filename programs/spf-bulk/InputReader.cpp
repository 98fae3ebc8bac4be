#include "programs/spf-bulk/InputReader.h"

#include <exception>
#include <memory>
#include <string_view>
#include <utility>

#include "programs/spf-bulk/LineBlock.h"

InputReader::~InputReader() noexcept(false) {
  ThreadedObject::StopObjectThread();
}

std::uint32_t InputReader::ObjectThreadMethod() {
  try {
    ReadAll();
    m_dispatcher.Close("");
  } catch (const std::exception& e) {
    m_dispatcher.Close(e.what());
  }
  return 0;
}

void InputReader::ReadAll() {
  std::string_view line;
  bool isMore = true;
  while (isMore && m_input.Next(line)) {
    auto block = std::make_unique<LineBlock>(m_input.GetLines());
    block->Add(line);
    while (!block->IsFull() && m_input.IsBuffered() && m_input.Next(line)) {
      block->Add(line);
    }
    block->Close();
    isMore = m_dispatcher.Add(std::move(block));
  }
}
