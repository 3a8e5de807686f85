"""Python as a host, with the arguments of tests/hosts/scenarios.h."""

import _ctypes
import ctypes
import sys
from ctypes import CFUNCTYPE, c_char_p, c_size_t, c_void_p


class ModuleCalls(ctypes.Structure):
    _fields_ = [
        ("works", CFUNCTYPE(c_char_p, c_char_p)),
        ("allocator", CFUNCTYPE(c_char_p)),
        ("makesBlock", CFUNCTYPE(c_void_p, c_size_t)),
        ("freesBlock", CFUNCTYPE(None, c_void_p)),
        ("makesText", CFUNCTYPE(c_void_p)),
        ("growsText", CFUNCTYPE(c_char_p, c_void_p)),
        ("freesText", CFUNCTYPE(None, c_void_p)),
        ("leavesMuchAlive", CFUNCTYPE(c_char_p)),
    ]


class Module:
    def __init__(self):
        self.library = ctypes.CDLL(path, ctypes.RTLD_GLOBAL if mode == "global" else ctypes.RTLD_LOCAL)
        self.calls = ModuleCalls.in_dll(self.library, "moduleCalls")


path, folder, mode, scenario, expected, *runtime_path = sys.argv[1:]
runtime = ctypes.CDLL(runtime_path[0]) if runtime_path else None
module = Module()
operators = runtime or module.library
host_makes_block = CFUNCTYPE(c_void_p, c_size_t)(("_Znam", operators))
host_frees_block = CFUNCTYPE(None, c_void_p)(("_ZdaPv", operators))
sizes = (0, 1, 24, 1000, 100_000, 8 << 20)


def expect_none(failure):
    assert failure is None, failure


def works():
    expect_none(module.calls.works(folder.encode()))


def allocator():
    assert module.calls.allocator().decode() == expected, module.calls.allocator()


def host_frees():
    for size in sizes:
        host_frees_block(module.calls.makesBlock(size))


def module_frees():
    for size in sizes:
        module.calls.freesBlock(host_makes_block(size))


def both_grow():
    text = module.calls.makesText()
    expect_none(module.calls.growsText(text))
    expect_none(module.calls.growsText(text))
    module.calls.freesText(text)


def reopened():
    global module
    block = module.calls.makesBlock(1000)
    works()
    _ctypes.dlclose(module.library._handle)
    module = Module()
    works()
    module.calls.freesBlock(block)


def exits_alive():
    expect_none(module.calls.leavesMuchAlive())
    works()


globals()[scenario]()
