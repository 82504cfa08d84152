#ifndef ZIN_TEST_FIFO_STEPS_H
#define ZIN_TEST_FIFO_STEPS_H

#include "RecordFifo.h"

// The operations of a RecordFifo with the memory that they lack, as a queue that
// lets go of its lock in between carries them out.

inline void Append(RecordFifo& fifo, std::string_view key, std::string_view line) {
  for (RecordFifo::Memory memory; !fifo.Append(key, line, memory);) memory.Provide();
}

// False: there is no record.
inline bool Take(RecordFifo& fifo, LogRecord& record) {
  RecordFifo::Memory memory;
  RecordFifo::TakeResult result = fifo.Take(record, memory);
  if (result == RecordFifo::TakeResult::LacksRoom) {
    memory.Provide(record);
    result = fifo.Take(record, memory);
  }
  return result == RecordFifo::TakeResult::Taken;
}

inline void Clear(RecordFifo& fifo) {
  RecordFifo::Memory memory;
  fifo.Clear(memory);
}

#endif  // ZIN_TEST_FIFO_STEPS_H
