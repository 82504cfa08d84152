#include "Text.h"

#include <sstream>

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string MessageOf(const std::string& line) {
  const std::string endOfHeader = "]: ";
  const std::size_t found = line.find(endOfHeader);
  return found == std::string::npos ? line : line.substr(found + endOfHeader.size());
}

std::vector<std::string> MessagesOf(const std::vector<std::string>& lines) {
  std::vector<std::string> messages;
  for (const std::string& line : lines) messages.push_back(MessageOf(line));
  return messages;
}
