// The part of libbpf that loads programs into the kernel, loaded itself when it is first needed: a
// base system whose kernel takes no such programs needs no such library.
#pragma once

#include <bpf/bpf.h>
#include <bpf/libbpf.h>

namespace marrow {

// The functions of libbpf under their own names, without "bpf_". The library stays loaded.
struct BpfLibrary {
  decltype(&::libbpf_set_print) setPrint;
  decltype(&::bpf_object__open_mem) openObject;
  decltype(&::bpf_object__load) loadObject;
  decltype(&::bpf_object__close) closeObject;
  decltype(&::bpf_object__next_program) nextProgram;
  decltype(&::bpf_object__find_map_fd_by_name) findMap;
  decltype(&::bpf_program__attach) attachProgram;
  decltype(&::bpf_link__destroy) destroyLink;
  decltype(&::bpf_map_update_elem) updateElement;
  decltype(&::bpf_map_lookup_elem) lookUpElement;
  decltype(&::bpf_map_delete_elem) deleteElement;
  decltype(&::ring_buffer__new) createRing;
  decltype(&::ring_buffer__consume) consumeRing;
  decltype(&::ring_buffer__free) freeRing;

  // False when the library of this name (dlopen(3)), or a function of it, is missing.
  bool load(const char* library);
};

}  // namespace marrow
