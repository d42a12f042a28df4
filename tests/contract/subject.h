#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "contract/shuffle.h"
#include "frame/in_place_filter.h"
#include "support/slots.h"
#include "support/test_graph.h"

namespace korva {

/// An effect that a test made, by all the ways that lead to it, whichever effect it is.
struct Instance {
  ComPtr<IBaseFilter> object;
  CTransformFilter* filter = nullptr;
  BlockHolder* parameters = nullptr;
  ComPtr<IUnknown> property;            // with the slots of its property interface
  CQvInPlaceFilter* inPlace = nullptr;  // null for the two that change the length
  ComPtr<IPersistStream> record;
  ComPtr<IStaticFilterPreset> presets;
  ComPtr<IMediaParams> automation;  // null for the three that have none

  const EffectDescription& effect() const { return parameters->effect(); }
  Bytes Block() const {
    Bytes block(effect().blockSize);
    parameters->ReadBlock(block.data());
    return block;
  }
  void Set(const std::string& settings) const { SetRows(*parameters, settings); }
};

/// One of the six effects, and what about it a test has to know beforehand.
struct Subject {
  const EffectDescription& effect;
  Instance (*make)();
  /// Rows in the order of the property interface's slots. A star: any value is taken. A hat: unsigned, so that what is
  /// below 0 is far above. A number: held to it at the upper end.
  const char* slots;
  int slotsOfRow;  // 5 with automation, 2 without
  bool startsDirty;
};

inline void PrintTo(const Subject& subject, std::ostream* out) {
  *out << subject.effect.name;
}

/// All six, in the order in which they are listed.
const std::vector<Subject>& Subjects();

/// A test of all effects: its parameter is the subject.
class Contract : public testing::TestWithParam<Subject> {
 protected:
  void TearDown() override { EXPECT_EQ(CBaseObject::ObjectsActive(), objects_) << "an object outlives its test"; }
  const EffectDescription& effect() const { return GetParam().effect; }
  Instance Make(const std::string& settings = "") const {
    Instance made = GetParam().make();
    made.Set(settings);
    return made;
  }
  bool InPlace() const { return Make().inPlace != nullptr; }

 private:
  const long objects_ = CBaseObject::ObjectsActive();
};

}  // namespace korva
