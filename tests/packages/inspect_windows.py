#!/usr/bin/python3
"""Looks into what Windows users get: inspect_windows.py DIRECTORY SETUP.exe VERSION

DIRECTORY is the unpacked archive. Both programs and the installer say the version and carry icon and
manifest; the programs open no console; every DLL that anything imports is there or is Windows' own;
and there is nothing that nothing needs.
"""
import glob
import pathlib
import re
import sys

import pefile

root, setup, version = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
app = root / "app"
faults = []


def expect(condition, what):
    if not condition:
        faults.append(what)


def resources(pe, kind):
    """The contents of all resources of a type, for the first language of each."""
    types = [entry for entry in pe.DIRECTORY_ENTRY_RESOURCE.entries
             if entry.id == pefile.RESOURCE_TYPE[kind]]
    entries = [name.directory.entries[0].data.struct for entry in types
               for name in entry.directory.entries]
    return [pe.get_data(entry.OffsetToData, entry.Size) for entry in entries]


def check_program(path, manifest_words):
    pe = pefile.PE(str(path))
    name = path.name
    expect(pe.OPTIONAL_HEADER.Subsystem == 2, f"{name} is no windowed program")
    fixed = pe.VS_FIXEDFILEINFO[0]
    for number in (fixed.FileVersionMS, fixed.ProductVersionMS):
        expect(number == int(version) << 16, f"{name} has the version number {number >> 16}")
    texts = {key.decode(): value.decode() for info in pe.FileInfo[0] if hasattr(info, "StringTable")
             for table in info.StringTable for key, value in table.entries.items()}
    expect(texts.get("FileVersion") == version and texts.get("ProductVersion") == version
           and texts.get("ProductName") == "Podiumcast Recorder", f"{name} describes itself as {texts}")
    # An icon's size is in its first bytes: of a bitmap's header or of a PNG's.
    sizes = {int.from_bytes(icon[16:20], "big") if icon.startswith(b"\x89PNG")
             else int.from_bytes(icon[4:8], "little") for icon in resources(pe, "RT_ICON")}
    expect({16, 32, 48, 256} <= sizes, f"{name} has icons of the sizes {sizes}")
    manifest = b"".join(resources(pe, "RT_MANIFEST")).decode()
    for word in manifest_words:
        expect(re.search(word, manifest), f"{name}'s manifest does not say {word}")
    expect("activeCodePage" not in manifest, f"{name} asks for a code page")


def imports(path):
    pe = pefile.PE(str(path), fast_load=True)
    pe.parse_data_directories([pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_IMPORT"],
                               pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT"]])
    found = [*getattr(pe, "DIRECTORY_ENTRY_IMPORT", []), *getattr(pe, "DIRECTORY_ENTRY_DELAY_IMPORT", [])]
    return {entry.dll.decode().lower() for entry in found}


def check_dlls():
    windows = {pathlib.Path(name).name.lower()
               for name in glob.glob("/usr/lib/*/wine/x86_64-windows/*")}
    expect(len(windows) > 100, "Wine's DLLs were not found")
    launcher = root / "PodiumcastRecorderLauncher.exe"
    for dll in imports(launcher) - windows:
        faults.append(f"{launcher.name} needs {dll}")
    there = {path.name.lower(): path for path in app.glob("*.dll")}
    modules = [app / "PodiumcastRecorder.exe", *app.glob("plugins/*/*.dll"), *app.glob("qml/**/*.dll")]
    needed, queue = {launcher, *modules}, modules
    while queue:
        module = queue.pop()
        for dll in imports(module):
            if dll not in there:
                expect(dll in windows or dll.startswith("api-ms-win-"), f"{module.name} needs {dll}")
            elif there[dll] not in needed:
                needed.add(there[dll])
                queue.append(there[dll])
    plain = {app / "qt.conf", *app.glob("qml/**/qmldir"), *app.glob("licences/*.txt")}
    for path in root.rglob("*"):
        expect(path.is_dir() or path in needed | plain, f"nothing needs {path.relative_to(root)}")
    for wanted in ("plugins/platforms/qwindows.dll", "plugins/multimedia/windowsmediaplugin.dll",
                   "plugins/tls/qschannelbackend.dll", "licences/LGPL-3.txt", "licences/third-party.txt"):
        expect((app / wanted).is_file(), f"{wanted} is missing")


ours = ["PerMonitorV2", "longPathAware", 'level="asInvoker"']
check_program(root / "PodiumcastRecorderLauncher.exe", ours)
check_program(app / "PodiumcastRecorder.exe", ours)
check_program(setup, ['level="asInvoker"'])
check_dlls()
for fault in faults:
    print(fault, file=sys.stderr)
sys.exit(bool(faults))
