/* A WAV file of 16-bit samples to one of A-law codes: wav_to_alaw IN.wav OUT.wav */
#include <orv.h>
#include <stdio.h>
#include <string.h>

static unsigned get(const Vel8u* p, int bytes) { return bytes ? p[0] | get(p + 1, bytes - 1) << 8 : 0; }
static void put(Vel8u* p, unsigned value, int bytes) {
  for (int i = 0; i < bytes; ++i) p[i] = (Vel8u)(value >> 8 * i);
}

/* The next chunk of the wanted name: its size, and the file stands at its contents. */
static unsigned findChunk(FILE* in, const char* name) {
  Vel8u head[8];
  while (fread(head, 1, 8, in) == 8) {
    const unsigned size = get(head + 4, 4);
    if (memcmp(head, name, 4) == 0) return size;
    fseek(in, (long)(size + size % 2), SEEK_CUR);
  }
  return 0;
}

int main(int argc, char** argv) {
  if (argc != 3) return fprintf(stderr, "wav_to_alaw IN.wav OUT.wav\n"), 2;
  FILE* in = fopen(argv[1], "rb");
  if (!in) return perror(argv[1]), 1;
  Vel8u riff[12], format[18];
  if (fread(riff, 1, 12, in) != 12 || memcmp(riff + 8, "WAVE", 4) != 0) return fprintf(stderr, "not a WAV file\n"), 1;
  const unsigned formatSize = findChunk(in, "fmt ");
  if (formatSize < 16 || fread(format, 1, 16, in) != 16 || get(format, 2) != 1 || get(format + 14, 2) != 16)
    return fprintf(stderr, "not 16-bit PCM\n"), 1;
  fseek(in, (long)(formatSize - 16), SEEK_CUR);
  const unsigned samples = findChunk(in, "data") / 2, channels = get(format + 2, 2), rate = get(format + 4, 4);

  Vel8u head[58] = "RIFF....WAVEfmt ";
  put(head + 4, 50 + samples + samples % 2, 4);
  put(head + 16, 18, 4);
  put(head + 20, 6, 2); /* A-law */
  put(head + 22, channels, 2);
  put(head + 24, rate, 4);
  put(head + 28, rate * channels, 4); /* bytes a second, and for all channels at once */
  put(head + 32, channels, 2);
  put(head + 34, 8, 2); /* bits of a sample */
  memcpy(head + 38, "fact", 4);
  put(head + 42, 4, 4);
  put(head + 46, channels ? samples / channels : 0, 4);
  memcpy(head + 50, "data", 4);
  put(head + 54, samples, 4);
  FILE* out = fopen(argv[2], "wb");
  if (!out) return perror(argv[2]), 1;
  fwrite(head, 1, sizeof head, out);

  Vel16s linear[4096]; /* x86 has the file's byte order */
  Vel8u codes[4096];
  for (unsigned done = 0; done < samples;) {
    const unsigned left = samples - done, wanted = left < 4096 ? left : 4096;
    if (fread(linear, 2, wanted, in) != wanted) return fprintf(stderr, "%s ends early\n", argv[1]), 1;
    const VelStatus status = orvsLinToALaw_16s8u(linear, codes, (int)wanted);
    if (status != velStsNoErr) return fprintf(stderr, "%s\n", orvGetStatusString(status)), 1;
    fwrite(codes, 1, wanted, out);
    done += wanted;
  }
  if (samples % 2) fputc(0, out);
  return fclose(out) != 0;
}
