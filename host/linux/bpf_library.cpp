#include "host/linux/bpf_library.h"

#include <dlfcn.h>

namespace marrow {

namespace {

template <typename Function>
bool findInLibrary(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  return function != nullptr;
}

}  // namespace

bool BpfLibrary::load(const char* library) {
  void* const bpf = ::dlopen(library, RTLD_NOW | RTLD_LOCAL);
  return bpf != nullptr && findInLibrary(bpf, "libbpf_set_print", setPrint) &&
         findInLibrary(bpf, "bpf_object__open_mem", openObject) &&
         findInLibrary(bpf, "bpf_object__load", loadObject) &&
         findInLibrary(bpf, "bpf_object__close", closeObject) &&
         findInLibrary(bpf, "bpf_object__next_program", nextProgram) &&
         findInLibrary(bpf, "bpf_object__find_map_fd_by_name", findMap) &&
         findInLibrary(bpf, "bpf_program__attach", attachProgram) &&
         findInLibrary(bpf, "bpf_link__destroy", destroyLink) &&
         findInLibrary(bpf, "bpf_map_update_elem", updateElement) &&
         findInLibrary(bpf, "bpf_map_lookup_elem", lookUpElement) &&
         findInLibrary(bpf, "bpf_map_delete_elem", deleteElement) &&
         findInLibrary(bpf, "ring_buffer__new", createRing) &&
         findInLibrary(bpf, "ring_buffer__consume", consumeRing) &&
         findInLibrary(bpf, "ring_buffer__free", freeRing);
}

}  // namespace marrow
