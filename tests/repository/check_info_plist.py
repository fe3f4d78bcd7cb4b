"""The app bundle's Info.plist template reads as a property list and carries what macOS needs."""
import plistlib
import re
import sys

text = open(sys.argv[1], encoding="utf-8").read()
# CMake fills ${...} in when it builds the bundle; any placeholder text keeps the XML valid.
info = plistlib.loads(re.sub(r"\$\{[A-Z_]+\}", "placeholder", text).encode("utf-8"))
problems = []
if info.get("LSUIElement") is not True:
    problems.append("LSUIElement must be true: a menu-bar program has no Dock icon")
if "_tessiva-osc._udp" not in info.get("NSBonjourServices", []):
    problems.append("NSBonjourServices must list _tessiva-osc._udp")
if not info.get("NSLocalNetworkUsageDescription"):
    problems.append("NSLocalNetworkUsageDescription is missing")
if "Accessibility permission" not in info.get("NSAccessibilityUsageDescription", ""):
    problems.append("the Accessibility explanation is missing")
for problem in problems:
    print("FAIL:", problem)
sys.exit(1 if problems else 0)
