// The module's commands as operations of the direct client.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "runtime/launch/direct/fetch_ahead.h"
#include "runtime/launch/direct/operation.h"
#include "runtime/launch/direct/session.h"

namespace fileref::runtime::direct {

// Returns null and says why when the command must not be carried out.
std::unique_ptr<Operation> plan(std::string_view command, Session* session, FetchAhead* ahead,
                                std::string* why);

}  // namespace fileref::runtime::direct
