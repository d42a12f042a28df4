"""An echo on one channel of 32-bit float samples, through ctypes: python3 echo.py < in.f32 > out.f32"""
import ctypes
import sys

korva = ctypes.CDLL("libkorva.so.0")
korva.korva_create.restype = ctypes.c_void_p
korva.korva_set_by_name.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_double]
korva.korva_start.argtypes = [ctypes.c_void_p, ctypes.c_uint32, ctypes.c_uint32]
korva.korva_process.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint32]
korva.korva_destroy.argtypes = [ctypes.c_void_p]

echo = korva.korva_create(b"simple-delay")
korva.korva_set_by_name(echo, b"delay", 250)
if korva.korva_start(echo, 1, 48000) != 0:
    sys.exit("cannot start")
data = sys.stdin.buffer.read()
samples = (ctypes.c_float * (len(data) // 4)).from_buffer_copy(data)
korva.korva_process(echo, samples, len(samples))
sys.stdout.buffer.write(samples)
korva.korva_destroy(echo)
