// Listens on the loopback address and answers requests with a few threads.
#ifndef SERVICE_SERVER_H
#define SERVICE_SERVER_H

#include <thread>
#include <vector>

#include "FileDescriptor.h"
#include "ServedFolder.h"
#include "Statistics.h"

class Server {
 public:
  // Listens on 127.0.0.1; port 0 lets the system pick one. Throws
  // std::runtime_error when the port is taken. Both references must outlive
  // the server.
  Server(int port, const ServedFolder& servedFolder, Statistics& counters);

  // Stops.
  ~Server();

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  int Port() const;

  void Start(int threadCount);

  // Accepts nothing more and waits until the requests in work are answered.
  void Stop();

 private:
  void Work();

  const ServedFolder& folder;
  Statistics& statistics;
  FileDescriptor listener;
  FileDescriptor stopEvent;  // readable from the moment of the stop on
  std::vector<std::thread> workers;
};

#endif  // SERVICE_SERVER_H
