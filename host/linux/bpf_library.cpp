#include "host/linux/bpf_library.h"

#include "host/linux/shared_library.h"

namespace marrow {

bool BpfLibrary::load(const char* library) {
  const SharedLibrary bpf(library);
  return bpf.find("libbpf_set_print", setPrint) && bpf.find("bpf_object__open_mem", openObject) &&
         bpf.find("bpf_object__load", loadObject) && bpf.find("bpf_object__close", closeObject) &&
         bpf.find("bpf_object__next_program", nextProgram) &&
         bpf.find("bpf_object__find_map_fd_by_name", findMap) &&
         bpf.find("bpf_program__attach", attachProgram) &&
         bpf.find("bpf_link__destroy", destroyLink) &&
         bpf.find("bpf_map_update_elem", updateElement) &&
         bpf.find("bpf_map_lookup_elem", lookUpElement) &&
         bpf.find("bpf_map_delete_elem", deleteElement) &&
         bpf.find("ring_buffer__new", createRing) &&
         bpf.find("ring_buffer__consume", consumeRing) && bpf.find("ring_buffer__free", freeRing);
}

}  // namespace marrow
