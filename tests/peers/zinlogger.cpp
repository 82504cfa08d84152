// Ours: a queue that is never full here.
#include <ZinLogger.h>

#include "Peer.h"

void PeerStart(const std::string& directory) {
  constexpr unsigned plenty = 1000000;
  ZinLogger::GetInstance()->LimitLogPathSize(plenty, plenty);
  (void)ZinLogger::GetInstance()->StartSystem("app.log", directory.c_str(), plenty, 1, INFO,
                                              4 * plenty, true);
}

void PeerLog(const std::string& text) {
  ZinLogger::GetInstance()->Log("Driver.cpp", 1, "Emit", " ", "", INFO, "%s", text.c_str());
}

void PeerStop() {
  ZinLogger::GetInstance()->StopSystem();
}
