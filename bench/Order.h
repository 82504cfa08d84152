// The subject of every measured line: varied, and cheap to make up.
#ifndef ZIN_BENCH_ORDER_H
#define ZIN_BENCH_ORDER_H

struct Order {
  int number;  // counts up in each thread, in a range of its own
  const char* customer;
  int microseconds;

  double Milliseconds() const { return microseconds * 0.001; }
};

// The message in printf's terms, and the arguments it takes, in two forms: with two
// integers, and with an integer and a floating-point number. Adapters of libraries
// with another way to format write the same text.
#define ORDER_FORMAT \
  "order %d of customer %s is paid, packed and handed over to the carrier after %d us in all"
#define ORDER_ARGUMENTS(order) (order).number, (order).customer, (order).microseconds
#define DOUBLE_FORMAT \
  "order %d of customer %s is paid, packed and handed over to the carrier after %.3f ms in all"
#define DOUBLE_ARGUMENTS(order) (order).number, (order).customer, (order).Milliseconds()

inline Order MakeOrder(int thread, int number) {
  static constexpr const char* customers[] = {"Anna",  "Benedict", "Charlotte", "Dora",
                                              "Emile", "Fatima",   "Gustav",    "Hedwig"};
  constexpr int ordersOfAThread = 10'000'000;
  const auto mixed = static_cast<unsigned>(number) * 2654435761U;
  return {.number = (thread + 1) * ordersOfAThread + number,
          .customer = customers[mixed >> 29],
          .microseconds = static_cast<int>(mixed & 0xFFF)};
}

#endif  // ZIN_BENCH_ORDER_H
