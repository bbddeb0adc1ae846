// What the system's error numbers mean.
#pragma once

#include <string>
#include <system_error>

namespace lumo {

/// The text of an errno value; unlike strerror, on any thread.
inline std::string ErrorText(int error) { return std::generic_category().message(error); }

}  // namespace lumo
