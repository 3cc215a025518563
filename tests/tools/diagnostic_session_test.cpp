#include "commands/diagnostic_session.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace passbridge::tool {
namespace {

using std::chrono::milliseconds;

/// A program that does not run while the answers come, as on a machine that is busy.
class StalledSession final : public DiagnosticSession {
 public:
  explicit StalledSession(std::vector<EcuAnswer> answers) : answers_(std::move(answers)) {}

  bool AsksOneEcu() const override { return false; }
  void Send(std::span<const std::uint8_t> /*request*/) override {}
  std::string Describe(std::span<const std::uint8_t> /*request*/) const override { return {}; }

 protected:
  std::vector<EcuAnswer> ReadAnswers(milliseconds timeout) override {
    if (answers_.empty()) std::this_thread::sleep_for(timeout);
    return std::exchange(answers_, {});
  }

 private:
  std::vector<EcuAnswer> answers_;
};

TEST(AskTest, WhatIsThereWhenTheTimeIsOverCameInTime) {
  constexpr std::array<std::uint8_t, 2> kRequest{0x01, 0x0C};
  constexpr AskLimits kNoTime{.answer = milliseconds(0), .pending = milliseconds(1)};
  StalledSession session({{"7E8", {0x41, 0x0C, 1}}, {"7E9", {0x7F, 0x01, 0x78}}, {"7EA", {0x41}}});
  std::vector<std::string> heard;
  EXPECT_FALSE(Ask(
      session, kRequest, kNoTime, [] { return false; },
      [&](const EcuAnswer& answer) { heard.push_back(answer.ecu); }))
      << "one promised another answer";
  EXPECT_EQ(heard, (std::vector<std::string>{"7E8", "7E9", "7EA"}));
}

}  // namespace
}  // namespace passbridge::tool
