#pragma once

namespace korva {

/// Where an engine that refreshes itself gets its parameters: the filter implements it, under its own lock.
template <class Block>
class ParamSource {
 public:
  /// Copies the parameters into `block`; answers whether something changed since the last fetch and clears that mark.
  virtual bool FetchParams(Block& block) noexcept = 0;

 protected:
  ~ParamSource() = default;
};

}  // namespace korva
