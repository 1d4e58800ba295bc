// A module for the tests of run-time loading: two functions to find.

#if defined(_WIN32)
#define TEST_EXPORT __declspec(dllexport)
#else
#define TEST_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {
TEST_EXPORT int TestModuleFirst();
TEST_EXPORT int TestModuleSecond();
}

int TestModuleFirst() {
    return 1;
}

int TestModuleSecond() {
    return 2;
}
