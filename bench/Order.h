// The subject of every measured line: varied, and cheap to make up.
#ifndef ZIN_BENCH_ORDER_H
#define ZIN_BENCH_ORDER_H

struct Order {
  int number;  // counts from 0 in each thread
  const char* customer;
  int items;
  double price;
  int thread;  // tells equal numbers of different threads apart
  int microseconds;
};

// The message in printf's terms, and the arguments it takes. Adapters of
// libraries with another way to format write the same text.
#define ORDER_FORMAT "order %07d of customer %s: %d items for %.2f EUR, till %d, served in %d us"
#define ORDER_ARGUMENTS(order)                                                    \
  (order).number, (order).customer, (order).items, (order).price, (order).thread, \
      (order).microseconds

inline Order MakeOrder(int thread, int number) {
  static constexpr const char* customers[] = {"Anna",  "Benedict", "Charlotte", "Dora",
                                              "Emile", "Fatima",   "Gustav",    "Hedwig"};
  const auto mixed = static_cast<unsigned>(number) * 2654435761U;
  return {.number = number,
          .customer = customers[mixed >> 29],
          .items = static_cast<int>(mixed >> 8 & 0x3F),
          .price = static_cast<double>(mixed >> 12) / 100,
          .thread = thread,
          .microseconds = static_cast<int>(mixed & 0xFFF)};
}

#endif  // ZIN_BENCH_ORDER_H
