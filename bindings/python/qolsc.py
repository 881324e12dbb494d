# SPDX-License-Identifier: Apache-2.0
"""Thin ctypes binding of libqolsce9: every export under its name, arrays by buffer.

    import qolsc
    size = qolsc.out("32s")
    qolsc.qolsEncodeGetStateSize_G726_16s8u(size)
    state = qolsc.block(size[0])
    qolsc.qolsEncodeInit_G726_16s8u(state, 23)
    codes = qolsc.array("8u", 80)
    qolsc.qolsEncode_G726_16s8u(state, samples, codes, 80)

Pointer arguments take a ctypes array (array, block, out), any writable buffer such as a NumPy array, read-only bytes for
sources, or None. A negative status raises Error; a warning is returned. The library is found as QOLSC_LIBRARY
in the environment or under its installed name.
"""
import ctypes
import os

from qolsc_exports import EXPORTS

_SCALARS = {
    "8u": ctypes.c_uint8, "8s": ctypes.c_int8, "16s": ctypes.c_int16, "16u": ctypes.c_uint16, "32s": ctypes.c_int32,
    "32u": ctypes.c_uint32, "64s": ctypes.c_int64, "64u": ctypes.c_uint64, "32f": ctypes.c_float, "64f": ctypes.c_double,
}
_PAIRS = {"16sc": "16s", "32sc": "32s", "32fc": "32f"}

library = ctypes.CDLL(os.environ.get("QOLSC_LIBRARY", "libqolsce9.so.8.2"))


class Error(Exception):
    """A refused call; status holds the library's value."""

    def __init__(self, name, status):
        super().__init__(f"{name} returned {status}")
        self.status = status


class Version(ctypes.Structure):
    _fields_ = [("major", ctypes.c_int32), ("minor", ctypes.c_int32), ("update", ctypes.c_int32), ("build", ctypes.c_int32),
                ("targetCpu", ctypes.c_char * 4), ("name", ctypes.c_char_p), ("version", ctypes.c_char_p),
                ("buildDate", ctypes.c_char_p)]


def array(kind, values):
    """A ctypes array of an element type ("16s", "32fc"): of that length, or holding those values."""
    count = values if isinstance(values, int) else len(values)
    n = count * (2 if kind in _PAIRS else 1) if isinstance(values, int) else count
    data = (_SCALARS[_PAIRS.get(kind, kind)] * n)()
    if not isinstance(values, int):
        data[:] = values
    return data


def block(size):
    """Bytes for a record or a work buffer."""
    return (ctypes.c_uint8 * size)()


def out(kind):
    """One element to be written through a pointer."""
    return array(kind, 1)


def rows(arrays):
    """An array of row pointers; the rows must stay alive as long as it is used."""
    return (ctypes.c_void_p * len(arrays))(*[ctypes.addressof(a) for a in arrays])


def version():
    """The library's version record."""
    query = library.qolscGetLibVersion
    query.restype = ctypes.POINTER(Version)
    return query().contents


def _pointer(value):
    if value is None or isinstance(value, (ctypes.Array, ctypes.c_void_p)):
        return value
    if isinstance(value, bytes):
        return ctypes.c_char_p(value)
    return (ctypes.c_char * memoryview(value).nbytes).from_buffer(value)


def _scalar_type(ctype):
    return _SCALARS.get(ctype.replace("Qol", ""), ctypes.c_int32)


def _bind(name, args):
    function = getattr(library, name)
    function.restype = ctypes.c_int32
    pointers = ["*" in t for _, t in args]
    function.argtypes = [ctypes.c_void_p if p else _scalar_type(t) for p, (_, t) in zip(pointers, args)]

    def call(*values):
        if len(values) != len(args):
            raise TypeError(f"{name} takes {len(args)} arguments: {', '.join(n for n, _ in args)}")
        status = function(*[_pointer(v) if p else v for p, v in zip(pointers, values)])
        if status < 0:
            raise Error(name, status)
        return status

    call.__name__ = name
    call.__doc__ = f"{name}({', '.join(f'{t} {n}' for n, t in args)})"
    return call


for _name, _args in EXPORTS.items():
    globals()[_name] = _bind(_name, _args)
