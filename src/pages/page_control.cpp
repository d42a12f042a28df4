#include "pages/page_control.h"

#include "frame/row_values.h"

namespace korva {

ControlRange RangeOf(const PageDescription& page, const PageControl& control) noexcept {
  const ParamDescriptor& row = page.effect.rows[static_cast<std::size_t>(control.row)];
  const PageOwn& own = control.own;
  const auto position = [&own](double value) { return own.toPosition != nullptr ? own.toPosition(value) : value; };
  const double neutral = ToBlockUnits(row, row.info.mpdNeutralValue);
  return {.minimum = position(row.externalMin),
          .maximum = position(row.externalMax),
          .reset = position(own.reset.value_or(neutral)),
          .page = own.page};
}

}  // namespace korva
