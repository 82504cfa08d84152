#ifndef ZIN_TEST_CHILDREN_H
#define ZIN_TEST_CHILDREN_H

#include <functional>
#include <string>

// Forks, runs `body` in the child (which need not come back), and waits for its
// end; anything but a clean one fails the probe. A child that hangs is ended.
void RunInChild(const std::string& name, const std::function<void()>& body);

#endif  // ZIN_TEST_CHILDREN_H
