// Ways to put a staged tree in the place of a live one.
#pragma once

#include "benchmarks/sample_tree.h"
#include "benchmarks/scratch_disk.h"

#include <memory>
#include <string>
#include <vector>

namespace marrow {

// One way, on one disk. Every call may throw std::runtime_error.
class Replacement {
 public:
  Replacement(const ScratchDisk& disk, const TreeShape& shape) : _disk(disk), _shape(shape) {}
  virtual ~Replacement() = default;
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  virtual std::string name() const = 0;

  // Makes a tree of generation 'o' live and has one of generation 'n' staged, in the form that this
  // way wants; flushed. Nobody measures it.
  virtual void prepare() = 0;

  // Afterwards the new tree is live and durable, and the old one has gone.
  virtual void replace() = 0;

  // Whether the live tree is at live() all the time, so that somebody can look at it there.
  virtual bool canBeWatched() const { return true; }
  std::string live() const { return _disk.at("live"); }

  // Removes what is left.
  virtual void clear();

 protected:
  std::string staged() const { return _disk.at("staged"); }
  const ScratchDisk& disk() const { return _disk; }
  const TreeShape& shape() const { return _shape; }

  // As two folders side by side, which is what most ways want.
  void prepareFolders() const;

 private:
  const ScratchDisk& _disk;
  const TreeShape& _shape;
};

// The first is the reference: only the calls that are needed. Those that this file system does not
// allow are left out.
std::vector<std::unique_ptr<Replacement>> replacements(const ScratchDisk& disk,
                                                       const TreeShape& shape);

}  // namespace marrow
