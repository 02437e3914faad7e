// What the address sanitizer does by default in the targets of this folder.

/// Each run opens a codec, whose memory of tens of kilobytes is set aside when it is freed: so much of that at a time
/// as stays in the processor's cache, which still holds many runs and doubles their rate.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer asks for this name
extern "C" const char* __asan_default_options() {
    return "quarantine_size_mb=8";
}
