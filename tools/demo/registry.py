"""The Windows registry of the Wine prefix (WINEPREFIX) in which the demonstration's programs run."""
import base64
import hashlib
import struct

from driver import run

ROOTS = r"HKEY_LOCAL_MACHINE\Software\Microsoft\SystemCertificates\Root\Certificates"
CERTIFICATE = 32  # the property of a stored certificate that is the certificate itself


def write(directory, values):
    """Writes {key: {name: text or bytes}} as the registry's own editor imports it."""
    lines = ["REGEDIT4"]
    for key, entries in values.items():
        lines += ["", f"[{key}]"]
        for name, value in entries.items():
            data = f'"{value}"' if isinstance(value, str) else "hex:" + value.hex(",")
            lines.append(f'"{name}"={data}')
    path = directory / "import.reg"
    path.write_text("\r\n".join(lines) + "\r\n")
    run("wine", "regedit", "/S", f"Z:{path}")


def authorities(paths):
    """The values that make certificates trusted authorities of the machine."""
    values = {}
    for path in paths:
        pem = open(path, encoding="ascii").read().split("-----")
        certificate = base64.b64decode(pem[2])
        name = hashlib.sha1(certificate).hexdigest().upper()
        values[rf"{ROOTS}\{name}"] = {
            "Blob": struct.pack("<III", CERTIFICATE, 1, len(certificate)) + certificate}
    return values
