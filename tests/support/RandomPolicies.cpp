#include "tests/support/RandomPolicies.h"

#include <functional>
#include <random>
#include <vector>

#include "tests/support/ReplyBuilder.h"

namespace {

// Random numbers for a name, which are the same for each question about it.
class Dice {
 public:
  explicit Dice(const std::string& name) : m_engine(std::hash<std::string>()(name)) {}

  std::uint32_t Roll(std::uint32_t sides) { return static_cast<std::uint32_t>(m_engine() % sides); }

  bool OneIn(std::uint32_t sides) { return Roll(sides) == 0; }

 private:
  std::mt19937_64 m_engine;
};

std::string AnyAddress(Dice& dice) {
  return "192.0.2." + std::to_string(dice.Roll(16));
}

std::string AnyPrefix(Dice& dice) {
  return std::string("/").append(std::to_string(dice.Roll(34)));
}

std::string AnyTerm(Dice& dice, std::uint32_t number) {
  static const std::vector<std::string> kTerms = {"-all",    "~all",
                                                  "?all",    "+all",
                                                  "all",     "mx",
                                                  "ptr",     "exists:%{i}.test",
                                                  "ip4",     "a/2x",
                                                  "include", "redirect",
                                                  "exp=x",   "include:",
                                                  "ip6:::1", "A",
                                                  "",        "a/0",
                                                  "ip4:x",   "redirect=",
                                                  "a/33",    "ip4:0.0.0.0/0",
                                                  "a:",      "mx:x/24",
                                                  "\n550 x", "\na=550"};
  // Most names refer to higher ones; circles end by their depth.
  const std::string target = NameOfPolicy((number + 1 + dice.Roll(50)) % kPolicies);
  switch (dice.Roll(9)) {
    case 0:
      return "a";
    case 1:
      return std::string("a:").append(target).append(dice.OneIn(2) ? "" : AnyPrefix(dice));
    case 2:
      return (dice.OneIn(4) ? "+ip4:" : "ip4:") + AnyAddress(dice);
    case 3:
      return "ip4:" + AnyAddress(dice) + AnyPrefix(dice);
    case 4:
      return dice.OneIn(3) ? "include:" + target : "?ip4:" + AnyAddress(dice);
    case 5:
      return dice.OneIn(3) ? "redirect=" + target : "-all";
    default:
      return kTerms[dice.Roll(static_cast<std::uint32_t>(kTerms.size()))];
  }
}

std::string AnyRecord(Dice& dice, std::uint32_t number) {
  std::string record = dice.OneIn(20) ? "v=spf2" : "v=spf1";
  const std::uint32_t terms = dice.Roll(6);
  for (std::uint32_t i = 0; i < terms; ++i) {
    record += (dice.OneIn(20) ? "  " : " ") + AnyTerm(dice, number);
  }
  return record;
}

// Returns `reply` with a random fault.
Bytes Break(Bytes reply, Dice& dice) {
  switch (dice.Roll(5)) {
    case 0:
      reply.resize(dice.Roll(static_cast<std::uint32_t>(reply.size())) + 1);
      break;
    case 1:
      reply[dice.Roll(static_cast<std::uint32_t>(reply.size()))] ^=
          static_cast<unsigned char>(1 + dice.Roll(255));
      break;
    case 2:
      reply.push_back(static_cast<unsigned char>(dice.Roll(256)));
      break;
    case 3:
      reply[7] = static_cast<unsigned char>(dice.Roll(256));  // the number of answers
      break;
    default:
      reply[2] = static_cast<unsigned char>(dice.Roll(256));  // flags
      reply[3] = static_cast<unsigned char>(dice.Roll(256));
      break;
  }
  return reply;
}

}  // namespace

std::string NameOfPolicy(std::uint32_t number) {
  std::string name = "d";
  return name.append(std::to_string(number)).append(".test");
}

Datagrams AnswerAtRandom(const Bytes& query) {
  const std::string question = ScriptedNameServer::QuestionOf(query);
  const std::string name = question.substr(question.find(' ') + 1);
  const bool isText = question.starts_with("TXT ");
  Dice dice(question);
  if (name.starts_with("silent")) {
    return {};
  }
  ReplyBuilder reply(query);
  const std::uint32_t answers = dice.OneIn(4) ? dice.Roll(4) : 1;
  for (std::uint32_t i = 0; i < answers; ++i) {
    if (dice.OneIn(20)) {
      reply.CNAME(NameOfPolicy(dice.Roll(kPolicies)));
    } else if (!isText) {
      reply.A(AnyAddress(dice));
    } else if (dice.OneIn(5)) {
      reply.TXT({"contact=hostmaster"});
    } else {
      reply.TXT({AnyRecord(
          dice, static_cast<std::uint32_t>(std::stoul(std::string("0").append(name, 1))))});
    }
  }
  return {dice.OneIn(6) ? Break(reply.Build(), dice) : reply.Build()};
}
