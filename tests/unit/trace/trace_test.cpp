#include "trace/trace.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "passbridge/j2534.h"
#include "trace/last_error.h"
#include "trace/method.h"

namespace passbridge {
namespace {

struct TraceTest : testing::Test {
  TraceTest() {
    SetTraceEnabled(0);
    record.SetCodes(1, 2);
    record.SetText("before");
  }

  LastErrorRecord& record = LastErrorRecord::Instance();
};

TEST_F(TraceTest, OnlyAFirstCauseUpdatesTheRecord) {
  EXPECT_EQ(ReportError("A::B()", "Broken.", ERR_FAILED, 0x14060002, 0x21, false), ERR_FAILED);
  EXPECT_EQ(record.LastLocation(), 1U);
  EXPECT_EQ(record.Text(), "before");

  EXPECT_EQ(ReportError("A::B()", "Null.", ERR_NULL_PARAMETER, 3, 4, true), ERR_NULL_PARAMETER);
  EXPECT_EQ(record.LastLocation(), 3U);
  EXPECT_EQ(record.LastPduCode(), 4U);
  EXPECT_EQ(record.Text(), "before") << "other statuses have texts of their own";

  ReportError("A::B()", "Broken.", ERR_FAILED, 0x14060002, 0x21, true);
  EXPECT_EQ(record.Text(), "(14060002:00000021) Broken.\r\n");
}

TEST_F(TraceTest, LongAndBadTextsAreSurvived) {
  ReportError("A::B()", std::string(300, 'x').c_str(), ERR_FAILED, 0, 0, true);
  EXPECT_EQ(record.Text(), "(00000000:00000000) " + std::string(59, 'x'));
  ReportError("A::B()", nullptr, ERR_FAILED, 0, 0, true);
  EXPECT_EQ(record.Text(), "(00000000:00000000) Unknown Error Message\r\n");
  ReportError(nullptr, "No name.", ERR_FAILED, 0, 0, true);
  EXPECT_EQ(record.Text(), "(00000000:00000000) No name.\r\n");
  ReportError("A::B()", reinterpret_cast<const char*>(8), ERR_FAILED, 0, 0, true);
  EXPECT_EQ(record.Text(), "Error during API logging.");
}

TEST_F(TraceTest, WhatAMethodThrowsEndsInItsFrame) {
  constexpr Method kMethod{"A::B()", Module::Server, 0x06, 0x05};
  EXPECT_EQ(Traced(kMethod, [](Exits&) -> Status { throw std::runtime_error("?"); }), ERR_FAILED);
  EXPECT_EQ(record.Text(), "(14060005:00000000) Unhandled exception.\r\n");
}

}  // namespace
}  // namespace passbridge
