// vsnprintf_s with any format, values, bounds and rounding mode: the result, errno
// and every byte of the buffer are what the C library alone would leave.
//
// Input: size of the buffer, count, rounding mode, format, errno, values.
#include <cfenv>
#include <iterator>

#include "Expect.h"
#include "FormatPlan.h"
#include "siblings/FormatComparison.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::int64_t largestBuffer = 4096;
  constexpr int modes[] = {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO};
  Fields input(data, size);
  CallBounds bounds;
  bounds.destMax = static_cast<std::size_t>(input.NextNumber(0, largestBuffer));
  bounds.count = static_cast<std::size_t>(input.NextNumber(0, largestBuffer));
  const int mode = modes[input.NextNumber(0, std::ssize(modes) - 1)];
  FormatPlan plan;
  ReadFormatPlan(input, plan);
  bounds.callersErrno = plan.callersErrno;

  FormatComparison comparison;
  std::fesetround(mode);
  CallWithValues(plan, [&](const char* format, auto... values) {
    (void)comparison.Agrees(bounds, format, values...);
  });
  std::fesetround(FE_TONEAREST);
  ExpectEqual("the result", comparison.theirs.result, comparison.ours.result);
  ExpectEqual("errno after the call", comparison.theirs.error, comparison.ours.error);
  ExpectEqual("the buffer", comparison.theirs.bytes, comparison.ours.bytes);
  return 0;
}
