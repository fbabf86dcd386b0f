// The program's entry point with something behind it that only writes down what arrived:
//   PROBE_FILE   one line of hexadecimal digits for each argument, in the active code page
//   PROBE_CODE   what qMain() returns
//   PROBE_FAIL   when set, the system cannot split the command line
#include "app/qMain.h"

#include <windows.h>

#include <shellapi.h>

#include <cstdio>
#include <cstdlib>

namespace {

LPWSTR* WINAPI splitOrFail(LPCWSTR line, int* count)
{
    if (std::getenv("PROBE_FAIL"))
        return nullptr;
    const auto split = reinterpret_cast<decltype(&CommandLineToArgvW)>(reinterpret_cast<void*>(
        GetProcAddress(LoadLibraryW(L"shell32.dll"), "CommandLineToArgvW")));
    return split(line, count);
}

} // namespace

// Takes the place of the import of the same name.
extern "C" {
decltype(&CommandLineToArgvW) __imp_CommandLineToArgvW = splitOrFail;
}

int qMain(int argc, char** argv)
{
    if (argv[argc])
        return -2;
    std::FILE* file = std::fopen(std::getenv("PROBE_FILE"), "w");
    for (int i = 1; i < argc; ++i) {
        for (const char* c = argv[i]; *c; ++c)
            std::fprintf(file, "%02x", unsigned(static_cast<unsigned char>(*c)));
        std::fputc('\n', file); // left to the end of the process to flush
    }
    return std::atoi(std::getenv("PROBE_CODE"));
}
