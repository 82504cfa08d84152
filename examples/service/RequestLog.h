// Writes the one line that every request leaves in the log.
#ifndef SERVICE_REQUEST_LOG_H
#define SERVICE_REQUEST_LOG_H

#include <string>

#include "Exchange.h"

// INFO for an answered request; WARN for a refused and ERROR for a failed one,
// which go to the sub-directory "failed". Safe from any thread.
void LogRequest(const Exchange& exchange, const std::string& peer);

#endif  // SERVICE_REQUEST_LOG_H
