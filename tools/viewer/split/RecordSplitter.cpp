#include "RecordSplitter.h"

#include <algorithm>
#include <limits>

#include "LineHeader.h"

namespace {

// Header and message together, in bytes; what is longer is cut.
constexpr std::uint64_t kLongestRecord = 2046;

}  // namespace

void RecordSplitter::Take(std::string_view bytes, std::string& out) {
  held.append(bytes);
  while (Step(out, /*atEnd=*/false)) {
  }
  held.erase(0, next);
  next = 0;
}

void RecordSplitter::End(std::string& out) {
  while (Step(out, /*atEnd=*/true)) {
  }
  if (!lineBegins) out.push_back('\n');
  *this = RecordSplitter(places);
}

// Deals with the bytes up to the next place to look for a header. Returns false
// when there are none, or too few to know.
bool RecordSplitter::Step(std::string& out, bool atEnd) {
  if (Rest().empty()) return false;
  if (IsPlaceToLook()) {
    const HeaderMatch match = MatchLineHeader(Rest());
    if (match == HeaderMatch::TooShort && !atEnd) return false;
    if (match == HeaderMatch::Yes) {
      if (!lineBegins) {
        out.push_back('\n');
        begins.clear();
      }
      begins.push_back(count);
    }
  }
  if (!begins.empty() && BytesToCut() == 0) begins.pop_front();

  std::size_t length = Rest().find('\n');
  length = length == std::string_view::npos ? Rest().size() : length + 1;
  if (places == Places::Anywhere) length = std::min(length, Rest().find('[', 1));
  Pass(static_cast<std::size_t>(std::min<std::uint64_t>(length, BytesToCut())), out);
  return true;
}

// Bytes to where the oldest of the possible records would end if it was cut.
std::uint64_t RecordSplitter::BytesToCut() const {
  if (begins.empty()) return std::numeric_limits<std::uint64_t>::max();
  return begins.front() + kLongestRecord - count;
}

bool RecordSplitter::IsPlaceToLook() const {
  return lineBegins || BytesToCut() == 0 || places == Places::Anywhere;
}

void RecordSplitter::Pass(std::size_t length, std::string& out) {
  out.append(held, next, length);
  lineBegins = held[next + length - 1] == '\n';
  next += length;
  count += length;
}
