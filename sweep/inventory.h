// Everything that lies below a folder, whatever it is, without following or opening what is no
// plain file: to be compared with what lies there later.
#pragma once

#include "sweep/judgement.h"

#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace marrow::sweep {

// What each path below the folder is: kind, mode and, of a file, its content, of a link, its
// target. Trees of names so long that no path leads to their end are told of as far as paths lead.
using Inventory = std::map<std::string, std::string>;

// `isLeftOut` is asked for each path below the folder; what is left out is not entered.
Inventory takeInventory(const std::filesystem::path& folder,
                        const std::function<bool(const std::string&)>& isLeftOut);

// A sentence, which begins with `where`, for each path that is new, gone or something else.
Complaints compareInventories(const std::string& where, const Inventory& before,
                              const Inventory& after);

}  // namespace marrow::sweep
