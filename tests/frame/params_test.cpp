#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>

#include "frame/row_values.h"
#include "frame_rig.h"
#include "support/listening_host.h"
#include "support/memory_stream.h"

namespace korva {
namespace {

TEST(Conversion, EveryBlockValueSurvivesItHalvesRoundAwayFromZeroAndAllIsHeldToTheRow) {
  BareStore store;
  for (std::size_t row = 0; row < kChorusEffect.rows.size(); ++row) {
    const ParamDescriptor& r = kChorusEffect.rows[row];
    store.WriteOne(row, std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(store.ReadOne(row), r.externalMax) << r.name;
    for (std::int32_t value = r.externalMin; value <= r.externalMax; ++value) {
      store.WriteOne(row, value);
      ASSERT_EQ(store.ReadOne(row), value) << r.name;
      EXPECT_FALSE(store.WriteOne(row, value)) << r.name << ' ' << value;
    }
    store.WriteOne(row, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(store.ReadOne(row), r.externalMin) << r.name;
  }
  const struct {
    DWORD row;
    float table;
    std::int32_t block;
  } rows[] = {
      {kChorusModDepth, 50.5F, 51}, {kChorusModDepth, 50.49F, 50}, {kChorusDryOut, -6.05F, -61},
      {kChorusDryOut, -6.04F, -60}, {kChorusModRate, 0.0014F, 1},  {kChorusModRate, 0.0016F, 2},
      {kChorusDelay, 99.96F, 1000},
  };
  for (const auto& row : rows) {
    ASSERT_EQ(store.SetParam(row.row, row.table), S_OK) << row.table;
    EXPECT_EQ(store.ReadOne(row.row), row.block) << row.table;
  }
}

TEST(Callback, HearsWholeCapturesInOrderAndNothingOfEqualValues) {
  BareStore store;
  ListeningHost host;
  host.store = &store;
  EXPECT_EQ(store.SetUICallback(&host), S_OK);
  store.WriteOne(kChorusFeedback, 40);
  EXPECT_EQ(host.Take(), "[3 3=4003]");
  store.WriteOne(kChorusFeedback, 40);
  EXPECT_EQ(host.Take(), "");
  EXPECT_EQ(store.BeginEdit(kChorusFeedback), 0);
  EXPECT_EQ(store.BeginEdit(kChorusFeedback), 1);
  store.WriteOne(kChorusFeedback, 41);
  store.WriteOne(kChorusFeedback, 42);
  EXPECT_EQ(store.EndEdit(kChorusFeedback), 0);
  EXPECT_EQ(store.EndEdit(kChorusFeedback), 1);
  EXPECT_EQ(host.Take(), "[3 3=410 3=4203]");
  EXPECT_EQ(store.SetParam(kChorusFeedback, 12), S_OK);
  EXPECT_EQ(host.Take(), "");  // the host knows what it has set

  ChorusParams block{};
  store.ReadAll(&block);
  store.WriteAll(&block);  // neutral values are not exact in block units
  host.Take();
  block.feedback = 13;
  store.WriteAll(&block);
  std::string taken, let;
  for (int row = 0; row < 16; ++row) {
    taken.append("[").append(std::to_string(row));
    let.append(std::to_string(row)).append("]");
  }
  EXPECT_EQ(host.Take(), taken.append(" 3=130").append(let));
  EXPECT_EQ(host.references, 1U);
  store.SetUICallback(nullptr);
  EXPECT_EQ(host.references, 0U);
}

TEST(Flags, OnlyAChangeRaisesThem) {
  Owned<CQvChorus> chorus;
  const auto params = chorus.As<IMediaParams>();
  ChorusParams block{};
  const struct {
    const char* what;
    std::uint32_t raised;  // 2 to be picked up, 1 to be saved
    std::function<HRESULT()> act;
    HRESULT result = S_OK;
  } steps[] = {
      {"a new filter", 2, [] { return S_OK; }},
      {"Set of the value in force", 0, [&] { return chorus->SetDelay(400); }},
      {"Set of another", 3, [&] { return chorus->SetDelay(500); }},
      {"GetParams", 0, [&] { return chorus->GetParams(&block); }},
      {"SetParams of the values in force", 3, [&] { return chorus->SetParams(&block); }},
      {"BeginEdit", 0, [&] { return chorus->BeginEditDelay(); }},
      {"EndEdit with nothing moved", 2, [&] { return chorus->EndEditDelay(); }},
      {"SetParam of another value", 3, [&] { return params->SetParam(kChorusDelay, 7); }},
      {"SetParam of that value", 0, [&] { return params->SetParam(kChorusDelay, 7); }, S_FALSE},
      {"SetParam out of range", 0, [&] { return params->SetParam(kChorusDelay, 101); }, E_INVALIDARG},
      {"the reserved word", 0, [&] { return chorus->SetReserved(77); }},
  };
  for (const auto& step : steps) {
    EXPECT_EQ(step.act(), step.result) << step.what;
    EXPECT_EQ(chorus->paramsChanged.exchange(0) * 2 + chorus->stateDirty.exchange(0), step.raised) << step.what;
  }
}

TEST(Notices, GoToTheWindowsThatAreRegisteredAndAlive) {
  Owned<CQvChorus> chorus;
  platform::NoticeWindow first, third;
  auto second = std::make_unique<platform::NoticeWindow>();
  EXPECT_EQ(chorus->SetNotifyWindow(first.Handle(), 0), S_OK);  // unknown and taken out: nothing happens
  EXPECT_EQ(chorus->SetNotifyWindow(first.Handle(), 7), S_OK);
  EXPECT_EQ(chorus->SetNotifyWindow(second->Handle(), 8), S_OK);
  EXPECT_EQ(chorus->SetNotifyWindow(third.Handle(), 9), E_OUTOFMEMORY);
  EXPECT_EQ(chorus->SetNotifyWindow(first.Handle(), 70), S_OK);
  chorus->SetPreset(2);
  chorus.As<IMediaParams>()->SetParam(kChorusDelay, 7);
  chorus->SetDelay(100);  // a page tells itself
  EXPECT_EQ(Notices(first), "100/70 0/70");
  EXPECT_EQ(Notices(*second), "100/8 0/8");
  // A dead window keeps its slot until the next notice.
  second.reset();
  EXPECT_EQ(chorus->SetNotifyWindow(third.Handle(), 9), E_OUTOFMEMORY);
  chorus->SetPreset(0);
  EXPECT_EQ(chorus->SetNotifyWindow(third.Handle(), 9), S_OK);
  EXPECT_EQ(chorus->SetNotifyWindow(first.Handle(), 0), S_OK);
  EXPECT_EQ(Notices(first), "100/70");
  {
    TestGraph graph(*chorus, MakeFormat(SampleFormat::kPcm16, 2, 48000));
    EXPECT_EQ(Notices(third), "0/9 1/9");
  }
  EXPECT_EQ(Notices(third), "0/9");
  // A record is told when its head was read, whatever comes after it.
  MemoryStream record;
  EXPECT_EQ(chorus->Save(&record, FALSE), S_OK);
  for (const std::size_t length : {19U, 20U, 83U, 84U}) {
    MemoryStream part({record.bytes.begin(), record.bytes.begin() + static_cast<std::ptrdiff_t>(length)});
    EXPECT_EQ(chorus->Load(&part), length == 84 ? S_OK : E_FAIL) << length;
    EXPECT_EQ(Notices(third), length < 20 ? "" : "100/9") << length;
  }
  record.bytes[4] ^= 1;  // of the form's identifier
  EXPECT_EQ(chorus->Load(&record), E_FAIL);
  EXPECT_EQ(Notices(third), "100/9");
  EXPECT_EQ(Notices(first), "");
}

TEST(Format, IsNormalisedAsItIsShownAndTheRateIsNobodysConcern) {
  Owned<CQvChorus> chorus;
  // An extensible block that lies about its derived fields.
  WAVEFORMATEXTENSIBLE block{};
  block.Format = {WAVE_FORMAT_EXTENSIBLE, 2, 0, 1, 99, 32, 22};
  block.SubFormat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  AM_MEDIA_TYPE type{};
  type.majortype = MEDIATYPE_Audio;
  type.formattype = FORMAT_WaveFormatEx;
  type.cbFormat = sizeof block;
  type.pbFormat = reinterpret_cast<BYTE*>(&block);
  Owned<SourceFilter> source;
  ASSERT_EQ(source->pin.Connect(chorus->GetPin(0), &type), S_OK);
  WAVEFORMATEX format{};
  ASSERT_EQ(chorus->GetFormat(&format), S_OK);
  EXPECT_EQ(std::tuple(format.wFormatTag, format.nBlockAlign, format.cbSize), std::tuple(3, 8, 0));
  source->pin.Disconnect();
  chorus->GetPin(0)->Disconnect();
  type.bTemporalCompression = TRUE;
  EXPECT_EQ(chorus->CheckInputType(type), E_INVALIDARG);
}

}  // namespace
}  // namespace korva
