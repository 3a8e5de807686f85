"""Python as a host, with the arguments of tests/hosts/host.h."""

import _ctypes
import ctypes
import sys
from ctypes import c_char_p, c_void_p


class Host(ctypes.Structure):
    """Host of tests/hosts/module.h."""

    _fields_ = [(name, c_void_p) for name in
                ("makesBlock", "freesBlock", "makesText", "growsText", "freesText", "keptBlock")]


path, folder, mode, scenario, allocator, *runtime_path = sys.argv[1:]


def open_module():
    return ctypes.CDLL(path, ctypes.RTLD_GLOBAL if mode == "global" else ctypes.RTLD_LOCAL)


def play():
    module.play.restype = c_char_p
    failure = module.play(scenario.encode(), ctypes.byref(host), folder.encode(), allocator.encode())
    assert failure is None, failure


runtime = ctypes.CDLL(runtime_path[0]) if runtime_path else None
module = open_module()
operators = runtime or module
host = Host(ctypes.cast(operators._Znam, c_void_p), ctypes.cast(operators._ZdaPv, c_void_p))
play()
if scenario == "reopened":
    _ctypes.dlclose(module._handle)
    module = open_module()
    play()
