// A shared library that is no module of filters: it has but one of the entry points.

extern "C" __attribute__((visibility("default"))) int DllCanUnloadNow() {
    return 0;
}
