"""What the process holds, for the tests that look for leaks: the engine's live objects
and GPU resources, and the bytes the allocator has handed out and not had back. Both
mean the same in every build: under the sanitizers the process's size says nothing
(their allocator keeps freed memory in quarantine), but these leave the quarantine out."""
import ctypes
import gc

import libcore
import libwindow


def engine_counts():
    """{kind: how many are alive} of what the engine holds, once Python's garbage is
    gone: "objects" (script-visible engine objects), "shared_objects" (shared native
    data such as texture pictures) and "gpu_resources"."""
    gc.collect()
    counts = libcore._live_counts()
    counts["gpu_resources"] = libwindow.gpu_resource_count()
    return counts


class _MallInfo2(ctypes.Structure):
    _fields_ = [(name, ctypes.c_size_t) for name in
                ("arena", "ordblks", "smblks", "hblks", "hblkhd", "usmblks", "fsmblks", "uordblks", "fordblks",
                 "keepcost")]


def _allocated_bytes_source():
    """The allocator's count of bytes in use: AddressSanitizer's when its allocator
    serves malloc (freed chunks waiting in its quarantine are not in use), glibc's
    mallinfo2 otherwise (bytes in use in its arenas and in chunks it mapped alone)."""
    process = ctypes.CDLL(None)
    asan = getattr(process, "__sanitizer_get_current_allocated_bytes", None)
    if asan is not None:
        asan.restype = ctypes.c_size_t
        asan.argtypes = []
        return "AddressSanitizer", asan
    mallinfo2 = process.mallinfo2
    mallinfo2.restype = _MallInfo2
    mallinfo2.argtypes = []

    def glibc():
        info = mallinfo2()
        return info.uordblks + info.hblkhd

    return "glibc", glibc


ALLOCATOR, _allocated_bytes = _allocated_bytes_source()


def heap_bytes():
    """Bytes malloc has handed out and not had back, once Python's garbage is gone.
    Python's small objects live in its own arenas and are not in it: count those with
    gc.get_objects()."""
    gc.collect()
    return _allocated_bytes()
