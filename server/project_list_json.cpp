#include "server/project_list_json.h"

#include <nlohmann/json.hpp>

namespace tavrin::server {

std::string ProjectListJson(const std::vector<std::string>& names,
                            const std::map<std::string, std::string>& passwords, bool meta) {
    nlohmann::json list = nlohmann::json::array();
    for (const std::string& name : names) {
        if (meta) {
            list.push_back({{"name", name}, {"requires_password", passwords.count(name) > 0}});
        } else {
            list.push_back(name);
        }
    }
    return list.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace tavrin::server
