// What the user starts on Windows: it runs the program in the directory beside it, so that the
// presentations lie beside the launcher and the program's own directory can be replaced.
// No Qt and no DLL of ours: it works from wherever it is started.

#include <windows.h>

#include <string>

namespace {

std::wstring ownPath()
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        // A path that does not fit is cut off and fills the buffer.
        const DWORD length = GetModuleFileNameW(nullptr, path.data(), DWORD(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

/// What follows the launcher's name on its command line, blanks and quotes as they are: taken apart
/// and put together again, arguments can change. Windows ends the name at the first blank that is
/// not in quotes; a backslash means nothing there.
const wchar_t* arguments()
{
    const wchar_t* at = GetCommandLineW();
    for (bool quoted = false; *at && (quoted || (*at != L' ' && *at != L'\t')); ++at)
        if (*at == L'"')
            quoted = !quoted;
    return at;
}

int fail(const std::wstring& program, DWORD error)
{
    const std::wstring text = program + L"\ncould not be started (Windows error "
        + std::to_wstring(error)
        + L").\n\nUnpack the whole archive with its directories, or install Podiumcast Recorder "
          L"again.";
    MessageBoxW(nullptr, text.c_str(), L"Podiumcast Recorder", MB_ICONERROR | MB_OK);
    return -1;
}

} // namespace

/// Lasts as long as the program and returns its exit code, as if the program itself had been
/// started.
int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int)
{
    const std::wstring own = ownPath();
    const std::wstring program = own.substr(0, own.find_last_of(L'\\') + 1)
        + L"" PODIUMCAST_APP_DIRECTORY "\\PodiumcastRecorder.exe";
    std::wstring commandLine = L'"' + program + L'"' + arguments();

    // How the window is to appear, as whoever started the launcher asked for it.
    // Its handles are not inherited.
    STARTUPINFOW given = {};
    GetStartupInfoW(&given);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = given.dwFlags & STARTF_USESHOWWINDOW;
    startup.wShowWindow = given.wShowWindow;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
            nullptr, &startup, &process))
        return fail(program, GetLastError());

    // The right to come to the front goes on to the program, and from there to one that runs
    // already.
    AllowSetForegroundWindow(ASFW_ANY);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD exitCode = DWORD(-1);
    GetExitCodeProcess(process.hProcess, &exitCode);
    return int(exitCode);
}
