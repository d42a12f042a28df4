#include <limits>
#include <sstream>

#include "contract/subject.h"
#include "support/memory_stream.h"
#include "support/seed.h"

// How an effect keeps its parameters: slots, presets, records.
namespace korva {
namespace {

/// A parameter of the property interface, as the subject's list of slots tells it.
struct Slot {
  const ParamDescriptor* row;
  char kind;  // '*', '^' or 0
  double most;

  /// What becomes of a value: it goes to the nearest end of its range.
  double Held(double value) const {
    if (kind == '*') return value;
    return value >= row->externalMin ? std::min(value, most) : row->externalMin;
  }
};

std::vector<Slot> SlotsOf(const Subject& subject) {
  std::vector<Slot> slots;
  std::istringstream words(subject.slots);
  for (std::string word; words >> word;) {
    const char last = word.back();
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, word.find_first_of("*^="));
    const ParamDescriptor& row = subject.effect.rows[RowNamed(subject.effect, name)];
    const double most = equals != word.npos ? std::stod(word.substr(equals + 1)) : row.externalMax;
    slots.push_back({&row, last == '*' || last == '^' ? last : '\0', most});
  }
  return slots;
}

Bytes RecordOf(const RecordHeader& header, const Bytes& block) {
  Bytes record(sizeof header + block.size());
  std::memcpy(record.data(), &header, sizeof header);
  std::memcpy(record.data() + sizeof header, block.data(), block.size());
  return record;
}

TEST_P(Contract, EverySlotReachesItsParameterAndHoldsIt) {
  const Instance made = Make();
  IUnknown* const property = made.property.Get();
  const bool automated = GetParam().slotsOfRow == 5;
  std::size_t slot = 7;
  const auto slots = SlotsOf(GetParam());
  EXPECT_EQ(slots.size(), effect().rows.size());
  for (const Slot& s : slots) {
    SCOPED_TRACE(s.row->name);
    const bool isDouble = s.row->storage == Storage::kDouble;
    const auto set = [&](double value) {
      return isDouble ? CallSlot(property, slot + 1, value) : CallSlot(property, slot + 1, static_cast<LONG>(value));
    };
    for (const double value : {2e9, -2e9, s.most + 1, s.row->externalMin + 1.0, s.row->externalMin - 1.0}) {
      if (s.kind == '^' && value < 0) continue;
      Bytes expected = made.Block();
      PutField(*s.row, expected.data(), s.Held(value));
      LONG read = 0;
      double readDouble = 0;
      EXPECT_EQ(set(value), S_OK);
      EXPECT_EQ(isDouble ? CallSlot(property, slot, &readDouble) : CallSlot(property, slot, &read), S_OK);
      EXPECT_EQ(isDouble ? readDouble : read, s.Held(value)) << value;
      Bytes block = made.Block();
      if (std::string(s.row->name) == "semitones" || std::string(s.row->name) == "cents") {
        // The ratio is set by whoever sets these.
        CopyField(effect().rows[RowNamed(effect(), "transposition")], expected.data(), block.data());
      }
      EXPECT_EQ(block, expected) << value;
      // What is set again has not changed.
      MemoryStream saved;
      made.record->Save(&saved, TRUE);
      set(value);
      EXPECT_EQ(made.record->IsDirty(), S_FALSE);
    }
    EXPECT_EQ(CallSlot(property, slot, static_cast<LONG*>(nullptr)), E_POINTER);
    if (automated) {
      EXPECT_EQ(CallSlot(property, slot + 2), S_OK);
      EXPECT_EQ(CallSlot(property, slot + 2), S_FALSE);
      EXPECT_EQ(CallSlot(property, slot + 3), S_OK);
      EXPECT_EQ(CallSlot(property, slot + 4), 1);
    }
    slot += static_cast<std::size_t>(GetParam().slotsOfRow);
  }
  LONG word = 5;
  EXPECT_EQ(CallSlot(property, slot), S_OK);
  EXPECT_EQ(CallSlot(property, slot + 1, &word), S_OK);
  EXPECT_EQ(word, 0);
  EXPECT_EQ(CallSlot(property, slot + 2, LONG{-7}), S_OK);
  EXPECT_EQ(CallSlot(property, slot + 3, &word), S_OK);
  EXPECT_EQ(word, -7);
  if (made.inPlace == nullptr) {
    DWORD rate = 0;
    EXPECT_EQ(CallSlot(property, slot + 4, &rate), E_FAIL);
    EXPECT_EQ(rate, 44100U);
    TestGraph graph(*made.filter, MakeFormat(SampleFormat::kPcm16, 2, 8000));
    EXPECT_EQ(CallSlot(property, slot + 4, &rate), S_OK);
    EXPECT_EQ(rate, 8000U);
  } else if (automated && made.effect().name != std::string("reverb")) {
    EXPECT_EQ(CallSlot(property, slot + 4), 0);  // no tempo
  }
}

TEST_P(Contract, WholeBlocksAndRecordsAreHeldToTheirRanges) {
  const Seed seed;
  std::mt19937 random(seed);
  const auto slots = SlotsOf(GetParam());
  for (int round = 0; round < 200; ++round) {
    Bytes block = Make().Block(), expected;
    // Any bytes, and now and then a block that is in range.
    for (std::uint8_t& byte : block) byte = static_cast<std::uint8_t>(random());
    if (round % 4 == 0) Shuffle(effect(), block.data(), random);
    expected = block;
    for (const Slot& s : slots) {
      const double value = FieldOf(*s.row, block.data());
      if (s.kind == '^') {
        const auto whole = static_cast<std::uint32_t>(static_cast<std::int32_t>(value));
        PutField(*s.row, expected.data(), std::min<double>(whole, s.most));
      } else if (s.kind != '*') {
        PutField(*s.row, expected.data(), s.Held(value));
      }
    }
    // An effect with automation takes all in silence; the others tell that a value was held.
    const Instance written = Make(), loaded = Make();
    EXPECT_EQ(CallSlot(written.property.Get(), 4, static_cast<const void*>(block.data())),
              written.automation || block == expected ? S_OK : E_FAIL);
    EXPECT_EQ(written.Block(), expected);
    const RecordHeader header{effect().forms[0].size, effect().forms[0].id};
    const Bytes record = RecordOf(header, expected);
    MemoryStream stream(RecordOf(header, block)), saved;
    EXPECT_EQ(loaded.record->Load(&stream), S_OK);
    EXPECT_EQ(loaded.record->IsDirty(), S_OK);
    EXPECT_EQ(loaded.record->Save(&saved, TRUE), S_OK);
    EXPECT_EQ(loaded.record->IsDirty(), S_FALSE);
    EXPECT_EQ(saved.bytes, record);
    EXPECT_EQ(record.size(), effect().forms[0].size);
  }
}

TEST_P(Contract, EveryFormOfARecordLoadsAndNoOtherDoes) {
  const Seed seed;
  std::mt19937 random(seed);
  Bytes block = Make().Block(), before = block;
  Shuffle(effect(), block.data(), random);
  const auto load = [&](RecordHeader header, std::size_t length, HRESULT readResult, HRESULT expected,
                        const Bytes& left) {
    const Instance made = Make();
    made.parameters->WriteBlock(before.data());
    MemoryStream clean;
    made.record->Save(&clean, TRUE);
    Bytes bytes = RecordOf(header, block);
    bytes.resize(length);
    MemoryStream stream(bytes);
    stream.readResult = readResult;
    EXPECT_EQ(made.record->Load(&stream), expected) << header.size << " bytes, " << length << " there";
    EXPECT_EQ(made.Block(), left) << header.size << " bytes, " << length << " there";
    EXPECT_EQ(made.record->IsDirty(), expected == S_OK ? S_OK : S_FALSE);
  };
  for (const RecordForm& form : effect().forms) {
    const std::size_t whole = sizeof(RecordHeader) + form.bodySize;
    if (form.bringUpToDate == nullptr) {
      // What an older form lacks is as it was before that came.
      Bytes expected(static_cast<const std::uint8_t*>(effect().recordStart),
                     static_cast<const std::uint8_t*>(effect().recordStart) + effect().blockSize);
      std::copy_n(block.begin(), form.bodySize, expected.begin());
      const Instance held = Make();
      held.parameters->WriteBlock(expected.data());
      load({form.size, form.id}, whole, S_OK, S_OK, held.Block());
    }
    for (std::size_t length = 0; length < whole; ++length) load({form.size, form.id}, length, S_OK, E_FAIL, before);
    load({form.size, form.id}, whole, STG_E_READFAULT, STG_E_READFAULT, before);
    load({form.size - 1, form.id}, whole, S_OK, E_FAIL, before);
    load({form.size, effect().filterClass}, whole, S_OK, E_FAIL, before);
    for (const RecordForm& other : effect().forms) {
      if (other.size != form.size && other.id != form.id) load({form.size, other.id}, whole, S_OK, E_FAIL, before);
    }
  }
  MemoryStream full;
  full.writeResult = STG_E_MEDIUMFULL;
  const Instance made = Make();
  for (std::size_t limit : {std::size_t{0}, sizeof(RecordHeader)}) {
    full.writeLimit = limit;
    EXPECT_EQ(made.record->Save(&full, TRUE), STG_E_MEDIUMFULL);
  }
}

TEST_P(Contract, PresetsAreInForceAsTheyAreListed) {
  const Instance made = Make();
  EXPECT_EQ(made.record->IsDirty(), GetParam().startsDirty ? S_OK : S_FALSE);
  LONG count = 0;
  EXPECT_EQ(made.presets->GetPresetCount(&count), S_OK);
  EXPECT_EQ(count, effect().presets.count());
  EXPECT_EQ(std::memcmp(made.Block().data(), effect().presets.Block(0), effect().blockSize), 0) << "a new effect";
  for (LONG i = count - 1; i >= 0; --i) {
    EXPECT_EQ(made.presets->SetPreset(i), S_OK);
    EXPECT_EQ(std::memcmp(made.Block().data(), effect().presets.Block(i), effect().blockSize), 0) << "preset " << i;
    EXPECT_EQ(made.record->IsDirty(), S_OK);
  }
  WCHAR name[260];
  for (const LONG none : {LONG{-1}, count, std::numeric_limits<LONG>::max()}) {
    EXPECT_EQ(made.presets->SetPreset(none), E_INVALIDARG);
    EXPECT_EQ(made.presets->GetPresetName(none, name), E_INVALIDARG);
  }
}

TEST_P(Contract, NullsAreAnswered) {
  const Instance made = Make();
  void* const null = nullptr;
  IUnknown* const property = made.property.Get();
  for (const HRESULT answer :
       {CallSlot(property, 3, null), CallSlot(property, 4, null), CallSlot(property, 5, null, LONG{0}),
        made.record->Load(nullptr), made.record->Save(nullptr, TRUE), made.record->GetSizeMax(nullptr),
        made.presets->GetPresetCount(nullptr), made.presets->GetPresetName(0, nullptr)}) {
    EXPECT_EQ(answer, E_POINTER);
  }
  ULARGE_INTEGER size{};
  EXPECT_EQ(made.record->GetSizeMax(&size), S_OK);
  EXPECT_EQ(size.QuadPart, effect().forms[0].size);
  WAVEFORMATEX format{};
  EXPECT_EQ(CallSlot(property, 5, &format, LONG{0}), VFW_E_NOT_CONNECTED);
  if (made.inPlace == nullptr) return;
  float frame[32] = {};
  EXPECT_EQ(made.inPlace->FloatTail(frame, nullptr), E_POINTER);
  for (const WORD channels : {WORD{0}, WORD{33}}) EXPECT_EQ(made.inPlace->FloatStart(channels, 44100), E_INVALIDARG);
  EXPECT_EQ(made.inPlace->FloatProcess(frame, 1, 0), VFW_E_WRONG_STATE);
  EXPECT_EQ(made.inPlace->FloatStart(32, 44100), S_OK);
  EXPECT_EQ(made.inPlace->FloatProcess(nullptr, 1, 0), E_POINTER);
  EXPECT_EQ(made.inPlace->FloatProcess(nullptr, 0, 0), S_OK);
  EXPECT_EQ(made.inPlace->FloatStop(), S_OK);
}

}  // namespace
}  // namespace korva
