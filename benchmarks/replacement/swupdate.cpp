#include "benchmarks/programs.h"
#include "benchmarks/replacement/ways.h"

#include <filesystem>
#include <fstream>

namespace marrow {

namespace {

// Debian's is built to take signed updates only: the archive is packed and signed once, with a key
// made for it.
class SWUpdate final : public Replacement {
 public:
  SWUpdate(const ScratchDisk& disk, const TreeShape& shape) : Replacement(disk, shape) { pack(); }

  std::string name() const override { return "swupdate, archive"; }

  void prepare() override {
    makeSampleTree(live(), shape(), 'o');
    disk().flush();
  }

  void replace() override {
    runProgram("swupdate -M -m -H bench:1.0 -k " + at("certificate.pem") +
               " --cert-purpose emailProtection -i " + at("update.swu") + "; sync -f " + live());
  }

 private:
  std::string at(const std::string& name) const { return disk().at("swupdate/" + name); }

  void pack() const {
    makeSampleTree(at("tree"), shape(), 'n');
    runProgram("tar -C " + at("tree") + " -cf " + at("tree.tar") + " .");
    std::filesystem::remove_all(at("tree"));
    describe(outputOf("sha256sum <" + at("tree.tar")).substr(0, 64));
    runProgram("openssl req -x509 -newkey rsa:2048 -nodes -days 3650 -subj /CN=bench -keyout " +
               at("key.pem") + " -out " + at("certificate.pem"));
    runProgram("openssl cms -sign -binary -nosmimecap -outform DER -in " + at("sw-description") +
               " -out " + at("sw-description.sig") + " -signer " + at("certificate.pem") +
               " -inkey " + at("key.pem"));
    runProgram("cd " + at("") +
               " && printf 'sw-description\\nsw-description.sig\\ntree.tar\\n' | "
               "cpio -o -H crc -F update.swu");
    std::filesystem::remove(at("tree.tar"));
  }

  void describe(const std::string& digest) const {
    std::ofstream(at("sw-description"))
        << "software = { version = \"1\"; hardware-compatibility = [\"1.0\"]; files: ( { "
        << "filename = \"tree.tar\"; type = \"archive\"; path = \"" << live() << "\"; sha256 = \""
        << digest << "\"; installed-directly = true; } ); }\n";
  }
};

}  // namespace

std::unique_ptr<Replacement> makeSWUpdate(const ScratchDisk& disk, const TreeShape& shape) {
  return std::make_unique<SWUpdate>(disk, shape);
}

}  // namespace marrow
