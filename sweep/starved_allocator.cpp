// A library that is loaded before marrowd (ld.so(8), LD_PRELOAD) and has an allocation fail: the
// first one that is made from the place that MARROW_STARVE names, with a plus sign all later ones
// too. A place is the chain of the innermost calls, as a number that is the same in each run of the
// same program when its addresses are (personality(2), ADDR_NO_RANDOMIZE). With "count" none fails,
// and each place is told when it is met first. What is told goes to standard error, since nothing
// may be allocated for it. What the program starts is left alone.
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unistd.h>
#include <unwind.h>

// The C library's own allocator, which stands behind the names that this library takes.
extern "C" {
void* libraryMalloc(std::size_t size) __asm__("__libc_malloc");
void* libraryCalloc(std::size_t count, std::size_t size) __asm__("__libc_calloc");
void* libraryRealloc(void* memory, std::size_t size) __asm__("__libc_realloc");
void* libraryMemalign(std::size_t alignment, std::size_t size) __asm__("__libc_memalign");
}

namespace {

using Place = std::uint64_t;

constexpr const char* kProgram = "marrowd";
constexpr int kCalls = 8;
constexpr std::size_t kMostPlaces = std::size_t{1} << 15;
constexpr std::size_t kTextLength = 64;

enum class Mode { kOff, kCount, kOne, kAllLater };
std::atomic<Mode> mode{Mode::kOff};
std::atomic<bool> hasFailed{false};
Place wanted = 0;
// Looking at the calls may allocate.
thread_local bool isLooking = false;

void tell(Place place, const char* what) {
  std::array<char, kTextLength> text{};
  const int length = std::snprintf(text.data(), text.size(), "allocation %016llx %s\n",
                                   static_cast<unsigned long long>(place), what);
  [[maybe_unused]] const auto written =
      ::write(STDERR_FILENO, text.data(), static_cast<std::size_t>(length));
}

struct Walk {
  int calls = 0;
  Place place = 1469598103934665603ULL;
};

// FNV-1a over the return addresses.
_Unwind_Reason_Code takeCall(_Unwind_Context* context, void* walk) {
  auto& taken = *static_cast<Walk*>(walk);
  taken.place = (taken.place ^ _Unwind_GetIP(context)) * 1099511628211ULL;
  return ++taken.calls < kCalls ? _URC_NO_REASON : _URC_END_OF_STACK;
}

Place currentPlace() {
  Walk walk;
  isLooking = true;
  _Unwind_Backtrace(takeCall, &walk);
  isLooking = false;
  return walk.place;
}

void count(Place place) {
  static std::mutex mutex;
  static std::array<Place, kMostPlaces> known;
  const std::lock_guard lock(mutex);
  std::size_t index = place % kMostPlaces;
  while (known.at(index) != 0 && known.at(index) != place) {
    index = (index + 1) % kMostPlaces;
  }
  if (known.at(index) == 0) {
    known.at(index) = place;
    tell(place, "met");
  }
}

bool isChosen(Place place) {
  if (place != wanted || hasFailed.exchange(true)) {
    return false;
  }
  tell(place, "failed");
  return true;
}

bool fails() {
  const Mode how = mode;
  if (how == Mode::kOff || isLooking) {
    return false;
  }
  const bool isOver = hasFailed && how != Mode::kCount;
  const Place place = isOver ? 0 : currentPlace();
  if (how == Mode::kCount) {
    count(place);
    return false;
  }
  const bool failing = isOver ? how == Mode::kAllLater : isChosen(place);
  errno = failing ? ENOMEM : errno;
  return failing;
}

// Before the program has a thread.
// NOLINTBEGIN(concurrency-mt-unsafe)
__attribute__((constructor)) void begin() {
  const char* words = std::getenv("MARROW_STARVE");
  if (words == nullptr || std::strcmp(program_invocation_short_name, kProgram) != 0) {
    return;
  }
  constexpr int kHexadecimal = 16;
  char* end = nullptr;
  wanted = std::strtoull(words, &end, kHexadecimal);
  const bool counts = std::strcmp(words, "count") == 0;
  const Mode asked = *end == '+' ? Mode::kAllLater : Mode::kOne;
  ::unsetenv("MARROW_STARVE");
  ::unsetenv("LD_PRELOAD");
  mode = counts ? Mode::kCount : asked;
}
// NOLINTEND(concurrency-mt-unsafe)

}  // namespace

#define MARROW_TAKES(name) __asm__(#name) __attribute__((visibility("default")))

extern "C" {

void* starvedMalloc(std::size_t size) MARROW_TAKES(malloc);
void* starvedCalloc(std::size_t count, std::size_t size) MARROW_TAKES(calloc);
void* starvedRealloc(void* memory, std::size_t size) MARROW_TAKES(realloc);
void* starvedMemalign(std::size_t alignment, std::size_t size) MARROW_TAKES(memalign);
void* starvedAlignedAlloc(std::size_t alignment, std::size_t size) MARROW_TAKES(aligned_alloc);
int starvedPosixMemalign(void** memory, std::size_t alignment, std::size_t size)
    MARROW_TAKES(posix_memalign);

void* starvedMalloc(std::size_t size) { return fails() ? nullptr : libraryMalloc(size); }

void* starvedCalloc(std::size_t count, std::size_t size) {
  return fails() ? nullptr : libraryCalloc(count, size);
}

void* starvedRealloc(void* memory, std::size_t size) {
  return size != 0 && fails() ? nullptr : libraryRealloc(memory, size);
}

void* starvedMemalign(std::size_t alignment, std::size_t size) {
  return fails() ? nullptr : libraryMemalign(alignment, size);
}

void* starvedAlignedAlloc(std::size_t alignment, std::size_t size) {
  return starvedMemalign(alignment, size);
}

int starvedPosixMemalign(void** memory, std::size_t alignment, std::size_t size) {
  *memory = starvedMemalign(alignment, size);
  return *memory == nullptr ? ENOMEM : 0;
}
}
