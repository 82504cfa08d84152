// glog: it has no asynchronous mode; a line goes into the buffer of the file,
// which is written every few seconds. It is not made to rotate: it names files by
// the second, and cannot begin two in one.
#include <glog/logging.h>

#include "Peer.h"

void PeerStart(const std::string& directory) {
  FLAGS_log_prefix = false;
  FLAGS_max_log_size = 1000;  // MiB
  FLAGS_logtostderr = false;
  FLAGS_minloglevel = google::INFO;
  FLAGS_stderrthreshold = google::FATAL;
  google::InitGoogleLogging("app");
  google::SetLogDestination(google::INFO, (directory + "/app-").c_str());
  google::SetLogSymlink(google::INFO, "");
}

void PeerLog(const std::string& text) {
  LOG(INFO) << text;
}

void PeerStop() {
  google::FlushLogFiles(google::INFO);
  google::ShutdownGoogleLogging();
}
