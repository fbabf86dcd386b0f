// Writes the command line that it was started with into command-line.txt (UTF-8) in the current
// directory and ends with 7.

#include <windows.h>

#include <cstdio>
#include <string>

int main()
{
    const wchar_t* line = GetCommandLineW();
    const int size = WideCharToMultiByte(CP_UTF8, 0, line, -1, nullptr, 0, nullptr, nullptr);
    std::string text(size_t(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, line, -1, text.data(), size, nullptr, nullptr);
    FILE* file = std::fopen("command-line.txt", "wb");
    if (!file)
        return 1;
    std::fputs(text.c_str(), file);
    return std::fclose(file) == 0 ? 7 : 1;
}
