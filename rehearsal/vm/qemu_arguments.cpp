#include "rehearsal/vm/qemu.h"

namespace marrow::rehearsal {
namespace {

// A comma in a path is written twice (qemu(1), "Device URL Syntax" and -drive).
std::string escaped(const std::filesystem::path& path) {
  std::string text;
  for (const char character : path.string()) {
    text.append(character == ',' ? 2 : 1, character);
  }
  return text;
}

void add(std::vector<std::string>& words, std::initializer_list<std::string> more) {
  words.insert(words.end(), more);
}

void addFirmware(std::vector<std::string>& words, const QemuSettings& settings) {
  add(words,
      {"-drive", "if=pflash,unit=0,format=raw,readonly=on,file=" + escaped(settings.firmware)});
  add(words, {"-drive", "if=pflash,unit=1,format=raw,file=" + escaped(settings.firmwareVariables)});
}

// The host's page cache is the disk: what a killed QEMU had been given to write stays written.
void addDisk(std::vector<std::string>& words, const QemuSettings& settings) {
  add(words, {"-blockdev",
              "driver=raw,node-name=image,discard=unmap,file.driver=file,"
              "file.filename=" +
                  escaped(settings.disk)});
  std::string node = "image";
  if (!settings.writeLog.empty()) {
    add(words, {"-blockdev", "driver=file,node-name=log,filename=" + escaped(settings.writeLog)});
    add(words, {"-blockdev", "driver=blklogwrites,node-name=logged,file=image,log=log"});
    node = "logged";
  }
  add(words, {"-device", "virtio-blk-pci,bootindex=1,drive=" + node});
}

void addWire(std::vector<std::string>& words, const std::string& name, int descriptor) {
  add(words, {"-chardev", "socket,id=" + name + ",fd=" + std::to_string(descriptor)});
}

}  // namespace

std::vector<std::string> qemuArguments(const QemuSettings& settings, const QemuWires& wires) {
  std::vector<std::string> words{"qemu-system-x86_64", "-nodefaults", "-no-user-config",
                                 "-machine",           "q35",         "-accel",
                                 settings.accelerator};
  add(words, {"-cpu", settings.accelerator == "kvm" ? "host" : "max", "-smp", "2", "-m", "1024"});
  add(words, {"-display", "none", "-vga", "std", "-nic", "none"});
  addFirmware(words, settings);
  if (!settings.disk.empty()) {
    addDisk(words, settings);
  }
  addWire(words, "console", wires.console);
  addWire(words, "reports", wires.reports);
  addWire(words, "control", wires.control);
  add(words, {"-serial", "chardev:console", "-serial", "chardev:reports"});
  add(words, {"-mon", "chardev=control,mode=control"});
  if (settings.endsAtRestart) {
    add(words, {"-no-reboot"});
  }
  if (settings.directBoot) {
    add(words, {"-kernel", settings.directBoot->kernel, "-initrd",
                settings.directBoot->initialSystem, "-append", settings.directBoot->words});
  }
  return words;
}

}  // namespace marrow::rehearsal
