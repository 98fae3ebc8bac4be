#include "programs/spf-bulk/LineWindow.h"

#include <utility>

namespace {

constexpr std::size_t kBlockWeight = 256;  // of a block without its lines
constexpr std::size_t kLargeWrite = std::size_t{64} * 1024;

}  // namespace

void LineWindow::Add(std::unique_ptr<LineBlock> block) {
  m_weight += kBlockWeight;
  for (std::size_t i = 0; i < block->GetCount(); ++i) {
    const std::size_t weight = block->GetWeight(i);
    m_weight += weight;
    m_waitingWeight += block->GetState(i) == LineBlock::State::kWaiting ? weight : 0;
  }
  m_blocks.push_back(std::move(block));
}

LineWindow::Place LineWindow::StartNext() {
  Place place{m_blocks[m_nextBlock].get(), m_nextIndex};
  while (place.index == place.block->GetCount() ||
         place.block->GetState(place.index) != LineBlock::State::kWaiting) {
    if (++place.index >= place.block->GetCount()) {
      place = {m_blocks[++m_nextBlock].get(), 0};
    }
  }
  m_nextIndex = place.index + 1;
  m_waitingWeight -= place.block->GetWeight(place.index);
  place.block->SetStarted(place.index);
  return place;
}

void LineWindow::SetOutcome(const Place& place, const Outcome& outcome) {
  m_weight -= place.block->GetWeight(place.index);
  place.block->SetOutcome(place.index, outcome);
  m_weight += place.block->GetWeight(place.index);
}

bool LineWindow::Print(std::string& output, std::string& errors) {
  while (!m_blocks.empty() && output.size() + errors.size() < kLargeWrite) {
    const LineBlock& block = *m_blocks.front();
    if (!block.IsDone(m_printed)) {
      return true;
    }
    block.Print(m_printed, output, errors);
    m_weight -= block.GetWeight(m_printed);
    if (++m_printed == block.GetCount()) {
      RemoveFront();
    }
  }
  return m_blocks.empty();
}

void LineWindow::RemoveFront() {
  m_blocks.pop_front();
  m_weight -= kBlockWeight;
  m_printed = 0;
  if (m_nextBlock > 0) {
    --m_nextBlock;
  } else {
    m_nextIndex = 0;
  }
}
