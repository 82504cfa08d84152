// The queue of one channel, in one thread, against a list of pairs: capacity,
// starts and stops, exit markers, generations of workers, fork.
//
// Input: one step a line. p<key>|<line> pushes; r<count> pushes that many; m
// pushes an exit marker; s starts; k<capacity> sets the capacity; w takes a record
// as the current worker, o as one of an earlier start; e and x mark the queue
// stopped as these two; f is a fork, seen from the child, u from the parent.
#include <deque>

#include "BlockingQueue.h"
#include "Expect.h"
#include "Fields.h"

namespace {

class Trial {
 public:
  void Step(const std::string& step) {
    const std::string argument = step.substr(1);
    switch (step.front()) {
      case 'p':
        PushPair(argument);
        break;
      case 'r':
        for (long i = std::min(std::strtol(argument.c_str(), nullptr, 10), 300L); i > 0; --i) {
          Push("key", "line " + std::to_string(i));
        }
        break;
      case 'm':
        queue.PushExitMarker();
        model.emplace_back();
        stopRequested = true;
        break;
      case 's':
        Start();
        break;
      case 'k':
        capacity = std::strtoull(argument.c_str(), nullptr, 10);
        queue.SetCapacity(capacity);
        break;
      case 'w':
        TakeAsCurrentWorker();
        break;
      case 'o':
        if (earlier != current) ExpectTaken(earlier, LogRecord());
        break;
      case 'e':
        queue.MarkStopped(current);
        running = false;
        break;
      case 'x':
        queue.MarkStopped(earlier);
        if (earlier == current) running = false;
        break;
      case 'f':
        ForkIntoChild();
        break;
      case 'u':
        queue.LockForFork();
        queue.UnlockInParent();
        break;
      default:
        break;
    }
    if (!running) queue.WaitUntilStopped();
    ExpectEqual("records held", std::uint64_t{model.size()}, queue.Size());
    ExpectEqual("running", running, queue.IsRunning());
  }

  void TakeAll() {
    while (!model.empty()) TakeAsCurrentWorker();
  }

 private:
  void PushPair(const std::string& argument) {
    const std::size_t bar = argument.find('|');
    if (bar == std::string::npos) {
      Push("", Fields::Expanded(argument));
    } else {
      Push(Fields::Expanded(argument.substr(0, bar)), Fields::Expanded(argument.substr(bar + 1)));
    }
  }

  void Push(const std::string& key, const std::string& line) {
    queue.Push(key, line);
    if (running && capacity > model.size()) model.emplace_back(key, line);
  }

  // Lines stay, exit markers of earlier stops go. A start that follows a stop has
  // a worker of its own; one that follows a start adds to the same.
  void Start() {
    std::erase_if(model, [](const LogRecord& record) { return record.second.empty(); });
    const bool isNew = !running || stopRequested;
    const BlockingQueue::Generation started = queue.Start();
    if (isNew) earlier = current;
    ExpectEqual("a new generation", isNew, started != current);
    current = started;
    running = true;
    stopRequested = false;
  }

  // On an empty queue that runs, a worker would wait.
  void TakeAsCurrentWorker() {
    if (model.empty() && running) return;
    if (model.empty() && ++looksAtNothing > 3) return;  // takes a millisecond each
    LogRecord expected;
    if (!model.empty()) {
      expected = model.front();
      model.pop_front();
    }
    ExpectTaken(current, expected);
  }

  void ExpectTaken(BlockingQueue::Generation worker, const LogRecord& expected) {
    LogRecord record("of an earlier", "pop");
    queue.WaitPop(worker, record);
    ExpectEqual("the key", expected.first, record.first);
    ExpectEqual("the line", expected.second, record.second);
  }

  // No worker of the parent is one of the child's.
  void ForkIntoChild() {
    queue.LockForFork();
    queue.ResetInChild();
    model.clear();
    running = stopRequested = false;
    Start();
    queue.MarkStopped(current);
    running = false;
  }

  BlockingQueue queue{0};
  std::deque<LogRecord> model;
  std::uint64_t capacity = 0;
  BlockingQueue::Generation current = 0;
  BlockingQueue::Generation earlier = 0;
  bool running = false;
  bool stopRequested = false;
  int looksAtNothing = 0;
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
