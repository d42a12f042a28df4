/* libkorva: six audio effects for any program. C99, usable from C++.
 *
 * The output does not depend on buffer sizes, and equals that of the korva command, sample for sample.
 *
 * Audio is 32-bit float at any rate up to 384000 frames a second, 1 to 32 channels; a frame holds one sample of each.
 * Values are in the units that the rows tell: dB, ms, Hz, percent. Texts are UTF-8.
 *
 * Threads: one effect's audio calls (start, stop, reset, process, tail, stream) come from one thread at a time. All its
 * other calls may come from any thread at any time; once started, the audio calls never wait for them. Effects share
 * nothing. Between start and stop nothing is allocated. The library prints nothing, installs nothing,
 * starts no thread and keeps nothing between effects.
 */
#ifndef KORVA_H
#define KORVA_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define KORVA_API __attribute__((visibility("default")))
#else
#define KORVA_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef enum korva_result {
  KORVA_OK = 0,
  KORVA_ERROR_ARGUMENT = 1, /* a null pointer, or a struct of a size that this library does not know */
  KORVA_ERROR_NAME = 2,     /* no such effect, row, choice or preset */
  KORVA_ERROR_RANGE = 3,    /* a value outside its range, or no whole number where one is wanted */
  KORVA_ERROR_RECORD = 4,   /* no record of this effect, or a damaged one */
  KORVA_ERROR_STATE = 5,    /* not now: the effect is started, or is not, or for the other kind of stream */
  KORVA_ERROR_FORMAT = 6,   /* channels or rate */
  KORVA_ERROR_LENGTH = 7,   /* korva_start: the length changes, or the pitch rises by more than 13 semitones */
  KORVA_ERROR_MEMORY = 8
} korva_result;

/* One effect. */
typedef struct korva_effect korva_effect;

typedef enum korva_kind { KORVA_NUMBER = 0, KORVA_WHOLE = 1, KORVA_SWITCH = 2, KORVA_CHOICE = 3 } korva_kind;

/* A parameter. Set `size` to sizeof(korva_row) before the call: later versions may grow the struct at its end. */
typedef struct korva_row {
  size_t size;
  const char* name;    /* as the command spells it */
  const char* unit;    /* empty where there is none */
  const char* summary; /* what it does, in a line of English */
  double least, most;
  double standard; /* what a new effect has */
  int32_t kind;    /* korva_kind */
  int32_t choices; /* of a KORVA_CHOICE: names from `least` on; else 0 */
} korva_row;

/* "0.1.0". */
KORVA_API const char* korva_version(void);
/* A line of English. */
KORVA_API const char* korva_error_text(korva_result result);

/* ---- What there is. Effects, rows and presets count from 0; texts without a buffer stay valid. */

KORVA_API int32_t korva_effect_count(void);
/* Null where there is no such effect. */
KORVA_API const char* korva_effect_name(int32_t effect);
KORVA_API const char* korva_effect_summary(int32_t effect);
/* The number of "chorus" and its like; -1 where there is none. So below. */
KORVA_API int32_t korva_find_effect(const char* name);
KORVA_API int32_t korva_row_count(int32_t effect);
KORVA_API korva_result korva_row_info(int32_t effect, int32_t row, korva_row* info);
KORVA_API int32_t korva_find_row(int32_t effect, const char* name);
KORVA_API int32_t korva_preset_count(int32_t effect);
/* Copy a name in a language ("de", "pt-br"; null or unknown: English) into `text`, cut to `size` with its terminator.
 * They return the whole length without it; 0 where there is no such name. */
KORVA_API size_t korva_preset_name(int32_t effect, int32_t preset, const char* language, char* text, size_t size);
KORVA_API size_t korva_choice_name(int32_t effect, int32_t row, int32_t choice, const char* language, char* text,
                                   size_t size);
/* By the name in English. */
KORVA_API int32_t korva_find_preset(int32_t effect, const char* name);

/* ---- An effect and its parameters. */

/* By its name, with preset 0. Null for an unknown name or without memory. */
KORVA_API korva_effect* korva_create(const char* name);
/* Null is allowed. */
KORVA_API void korva_destroy(korva_effect* effect);
/* In a running stream, knobs whose change costs little glide to the new value within 20 ms; the others jump. */
KORVA_API korva_result korva_set(korva_effect* effect, int32_t row, double value);
KORVA_API korva_result korva_get(const korva_effect* effect, int32_t row, double* value);
KORVA_API korva_result korva_set_by_name(korva_effect* effect, const char* row, double value);
KORVA_API korva_result korva_get_by_name(const korva_effect* effect, const char* row, double* value);
KORVA_API korva_result korva_set_preset(korva_effect* effect, int32_t preset);
/* The persistent record: the bytes that the command and the hosts of the module keep. Older forms load too. */
KORVA_API size_t korva_record_size(const korva_effect* effect);
KORVA_API korva_result korva_save_record(const korva_effect* effect, void* record, size_t size);
KORVA_API korva_result korva_load_record(korva_effect* effect, const void* record, size_t size);
/* For effects that follow it: quarter notes a minute, 1 to 1000, and a meter such as 6/8, of 1 to 64 beats over a power
 * of 2 up to 64. */
KORVA_API korva_result korva_set_tempo(korva_effect* effect, double bpm, int32_t beats, int32_t unit);
/* 0 lets the sound through unchanged, as late as the effect would; a change fades over 10 ms. For korva_process and
 * korva_tail: korva_stream, whose output is of another length, does not heed it. */
KORVA_API korva_result korva_set_enabled(korva_effect* effect, int32_t enabled);

/* ---- As many frames out as in. Pitch Shift only with preserve-duration on; not for Time Stretch. */

KORVA_API korva_result korva_start(korva_effect* effect, uint32_t channels, uint32_t rate);
/* By how many frames the output is late. 0 but for Pitch Shift, where it hangs on the mode alone. */
KORVA_API uint32_t korva_latency(const korva_effect* effect);
/* Rewrites `frames` frames in place: interleaved, or a buffer for each channel. */
KORVA_API korva_result korva_process(korva_effect* effect, float* samples, uint32_t frames);
KORVA_API korva_result korva_process_planar(korva_effect* effect, float* const* channels, uint32_t frames);
/* After the last input: fills up to `*frames` interleaved frames with what still comes; of an effect that is not
 * enabled, the held input alone. `*frames` becomes how many came; `*ended` 1 with the last of them. */
KORVA_API korva_result korva_tail(korva_effect* effect, float* samples, uint32_t* frames, int32_t* ended);

/* ---- Any length: all six effects, with no latency taken off or put in. */

KORVA_API korva_result korva_start_stream(korva_effect* effect, uint32_t channels, uint32_t rate);
/* Offers `*in_frames` interleaved frames and room for `*out_frames`; both become what was taken and written. Call again
 * with what was not taken. `in` null: the input has ended; call until `*ended` is 1. */
KORVA_API korva_result korva_stream(korva_effect* effect, const float* in, uint32_t* in_frames, float* out,
                                    uint32_t* out_frames, int32_t* ended);
/* About how many frames of output are still to come for the input that was taken. */
KORVA_API uint64_t korva_held_frames(const korva_effect* effect);

/* ---- Both. */

/* Drops all that rings, as if just started. Values, tempo and the switch stay. */
KORVA_API korva_result korva_reset(korva_effect* effect);
/* Frees what start took. Parameters stay. Stopping an effect that is not started does nothing. */
KORVA_API void korva_stop(korva_effect* effect);

#ifdef __cplusplus
}
#endif

#endif
