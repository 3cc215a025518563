#include "channel/com_param_cache.h"

#include <gtest/gtest.h>

#include <array>

#include "passbridge/j2534.h"
#include "support/pdu_fixture.h"

namespace passbridge {
namespace {

using test::ParamSpec;

struct ComParamCacheTest : test::PduFixture {
  UNUM32 Id(const char* name) { return pdu.IdOf(PDU_OBJT_COMPARAM, name); }
  Status Set(const char* name, UNUM32 value) {
    return cache.Set(kLink, Id(name), &value, sizeof value);
  }
  std::size_t Writes() { return pdu.Calls().Count("PDUSetComParam"); }

  static constexpr LinkHandles kLink{1, 0x100};
  ComParamCache cache;
};

TEST_F(ComParamCacheTest, WritesOnlyWhatChangesInTheComParamsOwnType) {
  struct Case {
    const char* name;
    T_PDU_PT type;
    UNUM32 written, read;
  };
  for (const Case& c : {Case{"CP_Baudrate", PDU_PT_UNUM32, 500000, 500000},
                        Case{"CP_P1Max", PDU_PT_UNUM16, 0x12345, 0x2345},
                        Case{"CP_Loopback", PDU_PT_UNUM8, 0x101, 1}}) {
    pdu.SetComParam(c.name, ParamSpec::Number(0, c.type));
    const std::size_t before = Writes();
    EXPECT_EQ(Set(c.name, 0), STATUS_NOERROR);
    EXPECT_EQ(Writes(), before) << c.name << ": the value is there already";
    EXPECT_EQ(Set(c.name, c.written), STATUS_NOERROR);
    EXPECT_EQ(Set(c.name, c.written), STATUS_NOERROR);
    EXPECT_EQ(Writes(), before + 1) << c.name;
    EXPECT_EQ(pdu.ComParamValue(c.name), c.read);
    UNUM32 value = 0;
    EXPECT_EQ(cache.Get(kLink, Id(c.name), &value), STATUS_NOERROR);
    EXPECT_EQ(value, c.read);
  }
}

TEST_F(ComParamCacheTest, ByteFieldTakesWhatFits) {
  pdu.SetComParam("CP_TesterPresentMessage", ParamSpec::ByteField({0x3E}, 4));
  const UNUM32 id = Id("CP_TesterPresentMessage");
  const std::array<UNUM8, 5> bytes{0x3E, 0x80, 1, 2, 3};
  EXPECT_EQ(cache.Set(kLink, id, bytes.data(), 1), STATUS_NOERROR);
  EXPECT_EQ(Writes(), 0U);
  EXPECT_EQ(cache.Set(kLink, id, bytes.data(), 2), STATUS_NOERROR);
  EXPECT_EQ(pdu.ComParamValue("CP_TesterPresentMessage"), 0x803EU);
  EXPECT_EQ(cache.Set(kLink, id, bytes.data(), 5), ERR_NOT_SUPPORTED);
  EXPECT_EQ(Writes(), 1U);
}

TEST_F(ComParamCacheTest, RefusedValueIsTriedAgain) {
  pdu.PDUSetComParam.Next({PDU_ERR_CLL_NOT_CONNECTED});
  EXPECT_EQ(Set("CP_Baudrate", 125000), ERR_INVALID_CHANNEL_ID);
  EXPECT_EQ(Set("CP_Baudrate", 125000), STATUS_NOERROR);
  EXPECT_EQ(pdu.ComParamValue("CP_Baudrate"), 125000U);
}

TEST_F(ComParamCacheTest, GivesEveryItemBackOnce) {
  Set("CP_Baudrate", 1);
  Set("CP_P3Phys", 2);
  cache.Fetch(kLink, Id("CP_Baudrate"));  // anew: the first item goes
  EXPECT_EQ(pdu.Items().Alive(), 2U);
  cache.Clear();
  cache.Clear();
  EXPECT_EQ(pdu.Items().Alive(), 0U);
}

TEST_F(ComParamCacheTest, WhatTheLibraryDoesNotGiveIsNotSupported) {
  UNUM32 value = 0;
  EXPECT_EQ(cache.Fetch(kLink, ComParamCache::kMaxIdentifier), ERR_NOT_SUPPORTED);
  EXPECT_EQ(cache.Fetch(kLink, PDU_ID_UNDEF), ERR_NOT_SUPPORTED);
  EXPECT_EQ(cache.Get(kLink, PDU_ID_UNDEF, &value), ERR_NULL_PARAMETER);
  pdu.PDUGetComParam.Does([](UNUM32, UNUM32, UNUM32, PDU_PARAM_ITEM**) {
    return T_PDU_ERROR{PDU_STATUS_NOERROR};  // and leaves its output untouched
  });
  EXPECT_EQ(Set("CP_Baudrate", 1), ERR_NULL_PARAMETER);
}

}  // namespace
}  // namespace passbridge
