// Half as long again at the same pitch, for one channel of raw 32-bit float samples: slower < in.f32 > out.f32
#include <korva.h>

#include <iostream>
#include <memory>

int main() {
  const std::unique_ptr<korva_effect, decltype(&korva_destroy)> effect(korva_create("time-stretch"), &korva_destroy);
  korva_set_by_name(effect.get(), "percent", 150);
  if (korva_start_stream(effect.get(), 1, 48000) != KORVA_OK) return 1;
  float in[512], out[512];
  std::uint32_t left = 0, done = 0;
  for (std::int32_t ended = 0; ended == 0;) {
    if (done == left) {
      std::cin.read(reinterpret_cast<char*>(in), sizeof in);
      left = static_cast<std::uint32_t>(std::cin.gcount() / sizeof(float));
      done = 0;
    }
    std::uint32_t taken = left - done, written = 512;
    if (korva_stream(effect.get(), left != 0 ? in + done : nullptr, &taken, out, &written, &ended) != KORVA_OK)
      return 1;
    done += taken;
    std::cout.write(reinterpret_cast<const char*>(out), static_cast<std::streamsize>(written * sizeof(float)));
  }
}
