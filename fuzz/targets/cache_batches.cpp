// The cache of recent lines against a list of strings.
//
// Input: one step a line. a<text> adds a line; r<count>*<text> adds a numbered
// line that often; g<lines> asks for a batch; c1 acknowledges it, c0 does not.
#include <deque>

#include "Expect.h"
#include "Fields.h"
#include "RecentLogCache.h"
#include "ZinLogger.h"

namespace {

constexpr std::size_t mostLines = 1500;

struct Model {
  std::deque<std::string> lines;
  std::string batch;

  void Append(const std::string& line) {
    lines.push_back(line);
    if (lines.size() > mostLines) lines.pop_front();
  }

  std::string GetBatch(long wanted) {
    if (wanted < 1) return {};
    if (batch.empty()) {
      for (; wanted > 0 && !lines.empty(); --wanted) {
        batch += lines.front();
        lines.pop_front();
      }
    }
    return batch;
  }
};

void Append(Model& model, const std::string& line) {
  model.Append(line);
  RecentLogCache::Instance().Append(line);
}

void Step(Model& model, const std::string& step) {
  const std::string argument = step.substr(1);
  const auto number = static_cast<int>(std::strtol(argument.c_str(), nullptr, 10));
  switch (step.front()) {
    case 'a':
      Append(model, Fields::Expanded(argument));
      break;
    case 'r': {
      const int most = 2000;
      for (int i = 0; i < std::min(number, most); ++i) Append(model, argument + std::to_string(i));
      break;
    }
    case 'g':
      ExpectEqual("a batch", model.GetBatch(number), ZinGetCacheLog(number));
      break;
    case 'c':
      if (number != 0) model.batch.clear();
      ZinClearLastLog(number != 0);
      break;
    default:
      break;
  }
}

// Lines without text leave a batch empty, so a fetch may end before the cache.
void Drain(Model& model) {
  for (int fetch = 0; fetch < 2; ++fetch) {
    ExpectEqual("the rest", model.GetBatch(2000), ZinGetCacheLog(2000));
    model.batch.clear();
    ZinClearLastLog(true);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fields input(data, size);
  Model model;
  constexpr int mostSteps = 100;
  input.EachLine(mostSteps, [&](const std::string& line) { Step(model, line); });
  Drain(model);
  return 0;
}
