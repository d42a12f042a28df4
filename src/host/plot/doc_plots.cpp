#include "host/plot/doc_plots.h"

#include <algorithm>
#include <ostream>
#include <sstream>
#include <string_view>

#include "host/plot/plot_command.h"
#include "host/words/doc_pictures.h"
#include "plot/numbers.h"

namespace korva {
namespace {

constexpr std::size_t kParts = 8;

/// The words of a call; quotes hold together what has spaces.
std::vector<std::string> WordsOf(std::string_view call) {
  std::vector<std::string> words(1);
  bool isQuoted = false;
  for (const char c : call) {
    if (c == '\'')
      isQuoted = !isQuoted;
    else if (c == ' ' && !isQuoted)
      words.emplace_back();
    else
      words.back() += c;
  }
  return words;
}

/// The means of equal parts of a row of numbers.
template <class Values, class Value>
void TellMeans(const Values& values, Value&& value, std::ostream& out) {
  const std::size_t count = values.size();
  for (std::size_t part = 0; part < kParts && count >= kParts; ++part) {
    const std::size_t from = part * count / kParts, to = (part + 1) * count / kParts;
    double sum = 0;
    for (std::size_t i = from; i < to; ++i) sum += value(values[i]);
    out << " " << ShortNumber(sum / static_cast<double>(to - from), 1);
  }
}

void TellPanel(const Panel& panel, std::ostream& out) {
  for (const double edge : {panel.x.from, panel.x.to, panel.y.from, panel.y.to}) out << " " << ShortNumber(edge, 1);
  for (const Curve& curve : panel.curves) {
    TellMeans(
        curve.points, [](const PlotPoint& point) { return point.y; }, out);
  }
  if (panel.heat) {
    // What lies below the colours is noise of the arithmetic.
    const auto shown = [&](float level) { return std::max(static_cast<double>(level), panel.heat->least); };
    TellMeans(panel.heat->levels, shown, out);
  }
  for (std::size_t i = 0; i < std::min(panel.bars.size(), kParts); ++i) {
    out << " " << ShortNumber(panel.bars[i].at, 1) << " " << ShortNumber(panel.bars[i].to, 1);
  }
}

}  // namespace

MaybeExit WriteDocCalls(std::ostream& out) {
  for (const DocPicture& picture : DocPictures()) {
    out << "korva plot " << picture.call << " --size 640x300 --overwrite --quiet docs/images/plots/" << picture.file
        << ".png\n";
  }
  return std::nullopt;
}

MaybeExit WriteDocNumbers(std::ostream& out) {
  for (const DocPicture& picture : DocPictures()) {
    std::vector<std::string> words = WordsOf(picture.call), remarks;
    words.emplace_back("-");
    const Outcome<PlotRequest> request = ParsePlot(words);
    if (!request) return request.earlyExit();
    std::istringstream nothing;
    const Outcome<Picture> made = MakePicture(*request, nothing, remarks);
    if (!made) return made.earlyExit();
    out << picture.file << ":";
    for (const Panel& panel : made->panels) TellPanel(panel, out);
    out << "\n";
  }
  return std::nullopt;
}

}  // namespace korva
