#pragma once

#include <map>
#include <string>
#include <vector>

namespace tavrin::server {

// The answer of "list_projects" (names alone) or of "list_projects_meta" (names with
// whether a password is required).
std::string ProjectListJson(const std::vector<std::string>& names,
                            const std::map<std::string, std::string>& passwords, bool meta);

}  // namespace tavrin::server
