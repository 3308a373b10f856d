#include "rehearsal/vm/watcher.h"

#include "rehearsal/files.h"

namespace marrow::rehearsal {

void installWatcher(const std::filesystem::path& root, const std::string& name,
                    const std::string& program) {
  const std::filesystem::path units = "etc/systemd/system";
  const std::string unit = "marrow-" + name + ".service";
  const std::string place = "/usr/lib/marrow/" + name;
  writeFile(root / place.substr(1), "#!/bin/sh\n" + program, 0755);
  writeFile(root / units / unit,
            "[Unit]\nDefaultDependencies=no\n[Service]\nExecStart=" + place + '\n');
  writeFile(root / units / "marrowd.service.d" / (name + ".conf"), "[Unit]\nWants=" + unit + '\n');
}

}  // namespace marrow::rehearsal
