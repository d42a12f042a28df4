/* A chorus for two channels of raw 32-bit float samples at 48 kHz: chorus < in.f32 > out.f32 */
#include <korva.h>
#include <stdio.h>

int main(void) {
  float samples[2 * 512];
  size_t frames;
  korva_result result;
  korva_effect* chorus = korva_create("chorus");
  if (chorus == NULL) return 1;
  korva_set_preset(chorus, korva_find_preset(korva_find_effect("chorus"), "Chorus 5"));
  korva_set_by_name(chorus, "dry-out", -9);
  result = korva_start(chorus, 2, 48000);
  while (result == KORVA_OK && (frames = fread(samples, 2 * sizeof(float), 512, stdin)) > 0) {
    result = korva_process(chorus, samples, (uint32_t)frames);
    if (fwrite(samples, 2 * sizeof(float), frames, stdout) != frames) break;
  }
  if (result != KORVA_OK) fprintf(stderr, "%s\n", korva_error_text(result));
  korva_destroy(chorus);
  return result == KORVA_OK ? 0 : 1;
}
