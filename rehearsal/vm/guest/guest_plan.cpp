#include "rehearsal/vm/guest/guest_plan.h"

#include "rehearsal/problem.h"

#include <nlohmann/json.hpp>

namespace marrow::rehearsal {

std::string jsonOf(const GuestPlan& plan) {
  const nlohmann::json object{{"scenario", plan.scenario},
                              {"group", plan.group},
                              {"boot_objects", plan.bootObjectsPath},
                              {"seed", plan.seed},
                              {"tree_files", plan.treeSize.files},
                              {"tree_bytes", plan.treeSize.bytes}};
  return object.dump() + '\n';
}

GuestPlan guestPlanFrom(const std::string& text) {
  try {
    const nlohmann::json object = nlohmann::json::parse(text);
    return {.scenario = object.at("scenario"),
            .group = object.at("group"),
            .bootObjectsPath = object.at("boot_objects"),
            .seed = object.at("seed"),
            .treeSize = {.files = object.at("tree_files"), .bytes = object.at("tree_bytes")}};
  } catch (const nlohmann::json::exception& error) {
    throw Problem(std::string("The machine has no plan that can be read: ") + error.what());
  }
}

}  // namespace marrow::rehearsal
