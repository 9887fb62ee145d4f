// How this service reports what is wrong with a command.
#pragma once

#include <string>
#include <utility>

#include "ado/ado_error.h"

namespace quarno::ado::shape {

inline constexpr const char* kSourceName = "QuarnoFwk Shape Service";

inline Error command_error(std::string description) {
  return provider_error(kErrorsInCommand, std::move(description), kSourceName);
}

}  // namespace quarno::ado::shape
