// An observer that notes each step as a word and its text.

#pragma once

#include <string>
#include <vector>

#include "tool/CheckObserver.h"

class RecordingObserver : public CheckObserver {
 public:
  void OnCheck(const std::string& domain) override { m_steps.push_back("check " + domain); }
  void OnTooDeep() override { m_steps.emplace_back("too deep"); }
  void OnRecord(const std::string& record) override { m_steps.push_back("record " + record); }
  void OnLookUp(const LookUp& lookUp) override {
    m_steps.push_back((lookUp.type == LookUp::Type::kA ? "look-up A " : "look-up TXT ") +
                      lookUp.domain);
    m_lookUps.push_back(lookUp);
  }
  void OnTerm(const std::string& term) override { m_steps.push_back("term " + term); }
  void OnTermDone(bool matched) override { m_steps.emplace_back(matched ? "match" : "no match"); }
  void OnCheckDone(bool passed) override { m_steps.emplace_back(passed ? "passed" : "failed"); }

  const std::vector<std::string>& Steps() const { return m_steps; }
  const std::vector<LookUp>& LookUps() const { return m_lookUps; }

 private:
  std::vector<std::string> m_steps;
  std::vector<LookUp> m_lookUps;
};
