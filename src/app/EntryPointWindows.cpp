#include "app/qMain.h"

#include <windows.h>

#include <shellapi.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

// The code page of the process: what the C run-time would have put into argv.
std::string toActiveCodePage(const wchar_t* wide)
{
    const int size = WideCharToMultiByte(CP_ACP, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0)
        return {};
    std::string narrow(size_t(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow.data(), size, nullptr, nullptr);
    narrow.resize(size_t(size) - 1); // without the terminating null
    return narrow;
}

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int)
{
    int argc = 0;
    wchar_t** wideArguments = CommandLineToArgvW(GetCommandLineW(), &argc);
    if (!wideArguments)
        return -1;

    std::vector<std::string> arguments;
    arguments.reserve(size_t(argc));
    for (int i = 0; i < argc; ++i)
        arguments.push_back(toActiveCodePage(wideArguments[i]));
    LocalFree(wideArguments);

    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    const int result = qMain(argc, argv.data());

    // Everything of ours is finished and on disk. The ordinary end of a process kills the threads
    // that libraries and drivers keep and then runs the libraries' destructors, which wait for ever
    // for a lock that such a thread held: seen after recordings, in the C++ run-time.
    std::fflush(nullptr);
    TerminateProcess(GetCurrentProcess(), UINT(result));
    return result;
}

int main()
{
    return WinMain(GetModuleHandleW(nullptr), nullptr, nullptr, SW_SHOWDEFAULT);
}
