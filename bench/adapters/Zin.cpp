#include <ZinLogger.h>
#include <ZinLoggerMacros.h>

#include <stdexcept>

#include "Logger.h"

namespace {
ZinLogger* instance = nullptr;
}

const char* const logger::name = "libZinLogger";
const logger::Delivery logger::delivery = Delivery::Background;

// The recent lines are kept without being asked for.
void logger::Start(const Setup& setup) {
  instance = ZinLogger::GetInstance();
  instance->LimitLogPathSize(rotatedFilesKept, rotatedFilesKept * rotationMiB);
  if (!instance->StartSystem("bench.log", setup.directory.c_str(), rotatedFilesKept, rotationMiB,
                             INFO, setup.queueLines, true)) {
    throw std::runtime_error("libZinLogger refuses " + setup.directory);
  }
}

void logger::Stop() {
  instance->StopSystem();
}

void logger::Log(const Order& order) {
  instance->Log(__FILE__, __LINE__, __func__, " ", "", INFO, ORDER_FORMAT, ORDER_ARGUMENTS(order));
}

void logger::LogDouble(const Order& order) {
  instance->Log(__FILE__, __LINE__, __func__, " ", "", INFO, DOUBLE_FORMAT,
                DOUBLE_ARGUMENTS(order));
}

void logger::LogFiltered(const Order& order) {
  instance->Log(__FILE__, __LINE__, __func__, " ", "", DEBUG, ORDER_FORMAT, ORDER_ARGUMENTS(order));
}

void logger::LogFilteredByMacro(const Order& order) {
  ZIN_DEBUG(ORDER_FORMAT, ORDER_ARGUMENTS(order));
}
