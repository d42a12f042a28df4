#pragma once

#include <cstddef>
#include <cstdint>

#include "audio/change_bits.h"
#include "platform/media_params.h"

namespace korva {

/// How a field is stored in a parameter block.
enum class Storage : std::int32_t { kInteger = 0, kBool = 1, kFloat = 2, kDouble = 3 };

inline constexpr std::uint32_t kCurvesAll = 15;  ///< takes ramps and jumps
inline constexpr std::uint32_t kCurvesJump = 1;  ///< only jumps

/// One parameter, described once: the store, the property interface, automation, records, the command and the pages all
/// read it. The two ranges are in a plain ratio: block value = table value x (externalMax - externalMin) /
/// (maximum - minimum), with no offset.
struct ParamDescriptor {
  MP_PARAMINFO info;  ///< type, curves, range and neutral value in display units; texts stay empty here
  std::uint32_t present = 1;
  std::uint32_t changeBit = kChangeRefresh;  ///< what a change asks of the engine
  std::int32_t externalMax = 0;              ///< range of the value in the parameter block's units
  std::int32_t externalMin = 0;
  std::uint32_t reserved0 = 0;
  Storage storage = Storage::kInteger;
  std::uint32_t blockOffset = 0;  ///< byte position of the field in the parameter block
  std::uint32_t useStrings = 1;   ///< the texts come from the string table
  std::int32_t labelId = -1;      ///< string ids; -1 means none
  std::int32_t unitId = -1;
  std::int32_t enumId = -1;       ///< one string, entries separated by commas
  std::int32_t firstNameId = -1;  ///< or one string an entry, with ids in a row from here
  std::uint32_t hidden = 0;       ///< 1: `GetParamInfo` reports the parameter as not there
  std::uint32_t reserved1 = 0;
  const char* name = "";       ///< name on the command line
  const char* unit = "";       ///< unit on the command line; empty where there is none
  const char* summary = "";    ///< what it does, in a line
  float commandFactor = 1.0F;  ///< display units to the unit of the command line
  bool buildsLine = false;     ///< a change may build a delay line anew, whatever the change bit says
  bool followsTempo = false;   ///< acts while the effect follows a host's tempo; a switch turns that on
};

/// Table value and block value of one parameter at a time: the ranges of a row.
struct RowRange {
  float minimum, maximum, neutral;        ///< display units
  std::int32_t externalMin, externalMax;  ///< block units
};

/// String ids of a row; -1 where a text has none.
struct RowTexts {
  std::int32_t label = -1;
  std::int32_t unit = -1;
  std::int32_t choices = -1;      ///< one string for all
  std::int32_t firstChoice = -1;  ///< or the first of one string each
};

/// What the command line says of a row.
struct RowCommand {
  const char* name;
  const char* unit;
  const char* summary;
  float factor = 1.0F;  ///< display units to this unit
};

namespace rows {

constexpr ParamDescriptor Make(MP_TYPE type, std::uint32_t curves, Storage storage, RowCommand command, RowRange range,
                               RowTexts texts, std::uint32_t changeBit, std::size_t offset) {
  ParamDescriptor row{};
  row.info.mpType = type;
  row.info.mopCaps = curves;
  row.info.mpdMinValue = range.minimum;
  row.info.mpdMaxValue = range.maximum;
  row.info.mpdNeutralValue = range.neutral;
  row.changeBit = changeBit;
  row.externalMax = range.externalMax;
  row.externalMin = range.externalMin;
  row.storage = storage;
  row.blockOffset = static_cast<std::uint32_t>(offset);
  row.labelId = texts.label;
  row.unitId = texts.unit;
  row.enumId = texts.choices;
  row.firstNameId = texts.firstChoice;
  row.name = command.name;
  row.unit = command.unit;
  row.summary = command.summary;
  row.commandFactor = command.factor;
  return row;
}

/// A value that takes ramps, kept in the block as a whole number.
constexpr ParamDescriptor Ramp(RowCommand command, RowRange range, RowTexts texts, std::uint32_t changeBit,
                               std::size_t offset) {
  return Make(MPT_FLOAT, kCurvesAll, Storage::kInteger, command, range, texts, changeBit, offset);
}

/// A gain in decibels up to 0, in the block in tenths. Its lowest value, `silence`, means silence.
constexpr ParamDescriptor Gain(RowCommand command, std::int32_t silence, float neutral, RowTexts texts,
                               std::uint32_t changeBit, std::size_t offset) {
  return Ramp(command, {static_cast<float>(silence) / 10, 0, neutral, silence, 0}, texts, changeBit, offset);
}

/// A choice among numbered entries; only jumps.
constexpr ParamDescriptor Choice(RowCommand command, std::int32_t first, std::int32_t last, std::int32_t neutral,
                                 RowTexts texts, std::uint32_t changeBit, std::size_t offset) {
  const RowRange range{static_cast<float>(first), static_cast<float>(last), static_cast<float>(neutral), first, last};
  return Make(MPT_ENUM, kCurvesJump, Storage::kInteger, command, range, texts, changeBit, offset);
}

/// A switch, 0 or 1; only jumps.
constexpr ParamDescriptor Switch(RowCommand command, RowTexts texts, std::uint32_t changeBit, std::size_t offset) {
  return Make(MPT_BOOL, kCurvesJump, Storage::kBool, command, {0, 1, 0, 0, 1}, texts, changeBit, offset);
}

/// A row whose change may build a line anew.
constexpr ParamDescriptor BuildsLine(ParamDescriptor row) {
  row.buildsLine = true;
  return row;
}

/// A row that acts only while the effect follows a host's tempo, or the switch for it.
constexpr ParamDescriptor FollowsTempo(ParamDescriptor row) {
  row.followsTempo = true;
  return row;
}

}  // namespace rows

}  // namespace korva
