#pragma once

#include <stdexcept>

namespace host {

/// Bad usage or input. what() is one line that names the file, what is wrong, where, and the mend; the program ends
/// with status 2 and leaves no output behind.
class HostError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace host
