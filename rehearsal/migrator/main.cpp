// The stand-in for the container migrator: takes the tool's arguments and does an honest dry run.
#include "rehearsal/migrator/dry_run.h"

#include <CLI/CLI.hpp>

namespace {

constexpr int kWrongUse = 64;

}  // namespace

int main(int argc, char** argv) {
  marrow::migrator::DryRunOptions options;
  unsigned seconds = 0;
  bool dryRun = false;
  bool migrate = false;
  std::string output;
  CLI::App app("Stand-in for the container migrator: only knows the dry run.");
  app.add_flag("-M", migrate, "Migrate the container");
  app.add_option("-m", options.metrics, "Metrics file to write");
  app.add_option("-l", options.log, "Log file to write");
  app.add_flag("-n", dryRun, "Dry run: change nothing");
  app.add_option("-t", seconds, "Seconds after which a dry run gives up");
  app.add_option("-g", options.progress, "FIFO for the percentages");
  app.add_option("-o", output, "What a migration creates");
  app.add_option("-r", options.pace, "Read this many bytes in a second at most");
  app.add_option("device", options.device, "Raw device of the data volume")->required();
  CLI11_PARSE(app, argc, argv);
  if (!dryRun) {
    std::fprintf(stderr, "This stand-in changes nothing: it has to be asked for a dry run (-n).\n");
    return kWrongUse;
  }
  options.timeout = std::chrono::seconds(seconds);
  std::printf("Looking at %s...\n", options.device.c_str());
  std::fflush(stdout);
  const int status = marrow::migrator::runDryRun(options);
  std::printf("Done, status %d.\n", status);
  return status;
}
