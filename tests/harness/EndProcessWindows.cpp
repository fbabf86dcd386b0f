// main() of every test program is called through here (linker option --wrap=main).
#include <windows.h>

#include <cstdio>

extern "C" {
int __real_main(int argc, char** argv);
int __wrap_main(int argc, char** argv);
}

// The test has ended and its results are written. The ordinary end of a process kills the threads
// that libraries keep and then runs the libraries' destructors: the C++ run-time's frees its thread
// key, and waits for ever for the lock of all keys where a killed thread held it. The recorder's
// own entry point ends in the same way.
int __wrap_main(int argc, char** argv)
{
    const int result = __real_main(argc, argv);
    std::fflush(nullptr);
    TerminateProcess(GetCurrentProcess(), UINT(result));
    return result;
}
