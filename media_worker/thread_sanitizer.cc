// Under ThreadSanitizer the media libraries, which are not instrumented, synchronise their own
// threads in ways that it cannot see. It is told to look at this project's code alone.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the runtime's name
extern "C" __attribute__((visibility("default"), used)) const char* __tsan_default_options() {
  return "ignore_noninstrumented_modules=1";
}

// libvips reads from one of its threads at a time, and hands over in just such a way.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the runtime's name
extern "C" __attribute__((visibility("default"), used)) const char* __tsan_default_suppressions() {
  return "race:seekSource\nrace:readSource\n";
}
