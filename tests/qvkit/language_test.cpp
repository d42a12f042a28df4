#include "qvkit/language.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/wide_text.h"
#include "qvkit/language_locales.h"
#include "qvkit/language_table.h"
#include "qvkit/string_ids.h"

namespace korva {
namespace {

using platform::ToUtf8;

// A handle on the program's own texts.
class Language {
 public:
  explicit Language(std::uint32_t locale) { EXPECT_NE(QvLang_Open(&handle_, nullptr, locale, 0), 0); }
  ~Language() { QvLang_Close(handle_); }
  Language(const Language&) = delete;
  Language& operator=(const Language&) = delete;
  QvLanguage* Handle() const { return handle_; }
  std::string Text(std::int32_t id) const { return ToUtf8(QvGetString(handle_, id)); }

 private:
  QvLanguage* handle_ = nullptr;
};

// Built-in texts are 16-bit characters on both systems, as the handle's are.
std::string Utf8(const char16_t* text) {
  std::basic_string<WCHAR> wide;
  while (*text != 0) wide.push_back(static_cast<WCHAR>(*text++));
  return ToUtf8(wide.c_str());
}

std::vector<std::string> Split(const std::string& list) {
  std::vector<std::string> names;
  std::istringstream rest(list);
  for (std::string name; std::getline(rest, name, ',');) names.push_back(name);
  return names;
}

// The conversions of a text that is a format, in order; any other percent sign is a unit.
std::string Conversions(const std::string& format) {
  std::string found;
  for (std::size_t at = 1; at < format.size(); ++at) {
    if (format[at - 1] == '%' && std::string_view("sd%").find(format[at]) != std::string_view::npos)
      found += format[at++];
  }
  return found;
}

// Through the handle, so that on Windows this compares what the resource compiler made with the built-in tables.
TEST(Strings, EveryLanguageHasEveryTextInItsPlace) {
  const auto english = LanguageTable(kEnglish);
  ASSERT_GT(english.size(), 0u);
  for (std::size_t language = 0; language < kLanguageCount; ++language) {
    const Language texts(kLanguageLocales[language]);
    const auto table = LanguageTable(language);
    ASSERT_EQ(table.size(), english.size()) << kLanguageLocales[language];
    for (std::size_t row = 0; row < table.size(); ++row) {
      SCOPED_TRACE(std::to_string(kLanguageLocales[language]) + " " + std::to_string(english[row].id));
      EXPECT_EQ(table[row].id, english[row].id);
      EXPECT_NE(Utf8(table[row].text), "");
      EXPECT_EQ(texts.Text(table[row].id), Utf8(table[row].text));
      EXPECT_EQ(Conversions(Utf8(table[row].text)), Conversions(Utf8(english[row].text)));
    }
  }
}

TEST(Strings, ListsHoldAsManyNamesInEveryLanguage) {
  const struct {
    StringId list;
    std::size_t count;
    StringId firstName;  // of the same names one by one; kNoString where they read otherwise
  } kLists[] = {
      {kStringNotes, 18, kStringFirstNote},
      {kStringNotesAndMeasures, 19, kStringFirstNote},
      {kStringReverbModes, 19, kNoString},
      {kStringEarlyStyles, 10, kNoString},
  };
  for (const std::uint32_t locale : kLanguageLocales) {
    const Language texts(locale);
    for (const auto& c : kLists) {
      SCOPED_TRACE(std::to_string(locale) + " " + std::to_string(c.list));
      const auto names = Split(texts.Text(c.list));
      EXPECT_EQ(names.size(), c.count);
      EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), c.count);
      for (std::size_t index = 0; c.firstName != kNoString && index < names.size(); ++index) {
        EXPECT_EQ(names[index], texts.Text(c.firstName + static_cast<StringId>(index)));
      }
    }
    for (StringId mode = 0; mode < 19; ++mode) {
      EXPECT_EQ(texts.Text(kStringPitchsFirstMode + mode), texts.Text(kStringTimeFirstMode + mode));
    }
  }
}

TEST(Strings, LabelsAndUnitsFitTheirRecord) {
  for (std::size_t language = 0; language < kLanguageCount; ++language) {
    for (const auto& [id, text] : LanguageTable(language)) {
      if (id < kStringModulationRate || id > kStringEarlyOut || (id > kStringDecibels && id < kStringSeconds)) continue;
      // A record's text fields hold 32 characters with the terminator.
      EXPECT_LE(std::char_traits<char16_t>::length(text), 31u) << Utf8(text);
    }
  }
}

TEST(Languages, OpenAndSwitchFallToTheNearest) {
  const struct {
    std::uint32_t locale;
    std::uint32_t opened;  // what a handle opened for it speaks
    bool switches;         // whether an open handle takes it
  } kCases[] = {
      {1031, 1031, true}, {3081, 1033, true},  {1028, 2052, true},   // Australia; traditional Chinese
      {2070, 1046, true}, {66567, 1031, true}, {1030, 1033, false},  // Portugal; another sort order; Danish
      {0, 1033, false},   {1024, 1033, false}, {0xFFFFFFFF, 1033, false},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.locale);
    EXPECT_EQ(QvLang_GetLCID(Language(c.locale).Handle()), c.opened);
    const Language texts(1036);
    EXPECT_EQ(QvLang_UpdateLCID(texts.Handle(), c.locale, 0, 0) != 0, c.switches);
    EXPECT_EQ(QvLang_GetLCID(texts.Handle()), c.switches ? c.opened : 1036);
  }
}

TEST(Languages, UnknownIdsAndNullHandlesGiveAText) {
  const Language texts(1041);
  for (const std::int32_t id : {-1, 0, 7999, 7239, 65536, 0x7FFFFFFF, -0x7FFFFFFF}) EXPECT_EQ(texts.Text(id), "") << id;
  EXPECT_NE(QvGetString(nullptr, kStringPresets), nullptr);
  EXPECT_EQ(QvLang_GetLCID(nullptr), 1033u);
  EXPECT_EQ(QvLang_UpdateLCID(nullptr, 1033, 0, 0), 0);
  EXPECT_EQ(QvLang_Open(nullptr, nullptr, 1033, 0), 0);
  QvLang_Close(nullptr);
}

TEST(Languages, TextsOutliveASwitchAndAreWholeDuringOne) {
  const Language texts(1033);
  const WCHAR* english = QvGetString(texts.Handle(), kStringPresets);
  std::set<std::string> allowed;
  for (std::size_t language = 0; language < kLanguageCount; ++language) {
    allowed.insert(Utf8(FindTableText(language, kStringPresets)));
  }
  std::atomic<bool> stop = false;
  std::atomic<int> strangers = 0;
  std::vector<std::thread> readers;
  for (int reader = 0; reader < 3; ++reader) {
    readers.emplace_back([&] {
      while (!stop) strangers += allowed.contains(texts.Text(kStringPresets)) ? 0 : 1;
    });
  }
  for (std::size_t step = 0; step < 2000; ++step) {
    QvLang_UpdateLCID(texts.Handle(), kLanguageLocales[step % kLanguageCount], 0, 0);
  }
  stop = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(strangers, 0);
  EXPECT_EQ(ToUtf8(english), "Presets");
}

}  // namespace
}  // namespace korva
