// The records of a queue against a list of pairs.
//
// Input: one step a line. a<key>|<line> appends a record; b<line> one that begins
// like the line before it; l<bytes> takes a run of so many bytes before its last line;
// r<count>*<line> several, numbered at their end, and n<count>*<line> at their beginning, so that
// they share nothing; t<count> takes; m appends an exit marker, d drops all of them, c clears.
#include <deque>

#include "Expect.h"
#include "Fields.h"
#include "RecordFifo.h"
#include "support/FifoSteps.h"

namespace {

class Trial {
 public:
  void Step(const std::string& step) {
    const std::string argument = step.substr(1);
    switch (step.front()) {
      case 'a':
        AppendPair(argument);
        break;
      case 'b':
        Append("", latest.substr(0, argument.size()) + Fields::Expanded(argument));
        break;
      case 'r':
        for (long i = NumberIn(argument, 500); i > 0; --i) {
          Append(std::to_string(i % 3), argument + std::to_string(i));
        }
        break;
      case 'n':
        AppendUnlike(argument);
        break;
      case 't':
        for (long i = NumberIn(argument, 1000); i > 0; --i) Take();
        break;
      case 'l':
        TakeRun(static_cast<std::uint64_t>(NumberIn(argument, 100'000)));
        break;
      case 'm':
        Append("", "");
        break;
      case 'd':
        std::erase_if(model, [](const LogRecord& record) { return record.second.empty(); });
        fifo.DropExitMarkers();
        break;
      case 'c':
        model.clear();
        ::Clear(fifo);
        break;
      default:
        break;
    }
    ExpectEqual("records held", std::uint64_t{model.size()},
                fifo.AppendedCount() - fifo.TakenCount());
    ExpectEqual("records appended", appended, fifo.AppendedCount());
  }

  void TakeAll() {
    while (!model.empty()) Take();
    Take();
  }

 private:
  static long NumberIn(const std::string& text, long most) {
    return std::min(std::strtol(text.c_str(), nullptr, 10), most);
  }

  void AppendPair(const std::string& argument) {
    const std::size_t bar = argument.find('|');
    if (bar == std::string::npos) {
      Append("", Fields::Expanded(argument));
    } else {
      Append(Fields::Expanded(argument.substr(0, bar)), Fields::Expanded(argument.substr(bar + 1)));
    }
  }

  void AppendUnlike(const std::string& argument) {
    const std::string line = Fields::Expanded(argument.substr(argument.find('*') + 1));
    for (long i = NumberIn(argument, 500); i > 0 && line.size() < 1000; --i) {
      Append("", std::to_string(i) + line);
    }
  }

  void Append(const std::string& key, const std::string& line) {
    model.emplace_back(key, line);
    ::Append(fifo, key, line);
    latest = line;
    ++appended;
  }

  void Take() {
    LogRecord record("of an earlier", "take");
    const bool taken = ::Take(fifo, record);
    ExpectEqual("something was taken", !model.empty(), taken);
    if (!taken) return;
    ExpectEqual("the key", model.front().first, record.first);
    ExpectEqual("the line", model.front().second, record.second);
    model.pop_front();
  }

  void TakeRun(std::uint64_t mostBytes) {
    RecordFifo::Memory memory;
    RecordFifo::TakeResult result = fifo.Take(run.Begin(), memory);
    if (result == RecordFifo::TakeResult::LacksRoom) {
      memory.Provide(run.Begin());
      result = fifo.Take(run.Begin(), memory);
    }
    ExpectEqual("something was taken", !model.empty(), result == RecordFifo::TakeResult::Taken);
    if (model.empty()) return;
    fifo.TakeAlong(run, mostBytes, memory);
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < run.LineCount(); ++i) {
      ExpectEqual("the key", model.front().first, run.Key());
      ExpectEqual("the line", model.front().second, std::string(run.Line(i)));
      if (i > 0) ExpectEqual("may go on", true, bytes <= mostBytes && !run.Line(i).empty());
      bytes += model.front().second.size();
      model.pop_front();
    }
    const bool isAtItsEnd = model.empty() || model.front().second.empty() ||
                            model.front().first != run.Key() || bytes > mostBytes ||
                            !run.HasRoomFor(model.front().second.size());
    ExpectEqual("takes all that it may", true, isAtItsEnd);
    fifo.CountTaken(run.LineCount() - 1);
  }

  RecordFifo fifo;
  LineRun run;
  std::deque<LogRecord> model;
  std::string latest;
  std::uint64_t appended = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fields input(data, size);
  Trial trial;
  constexpr int mostSteps = 200;
  input.EachLine(mostSteps, [&](const std::string& line) { trial.Step(line); });
  trial.TakeAll();
  return 0;
}
