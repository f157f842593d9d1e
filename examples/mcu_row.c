/* The first row of MCUs of a 4:2:0 baseline JPEG, as a PPM: mcu_row IN.jpg OUT.ppm
 *
 * The program reads the tables, and the library does the rest: Huffman decoding, inverse transform, colours. */
#include <orv.h>
#include <stdio.h>
#include <stdlib.h>

static Vel16u steps[4][64];                     /* quantisation tables */
static VeliDecodeHuffmanSpec* codes[2][4];      /* DC and AC tables */
static int width, stepsOf[3], dcOf[3], acOf[3]; /* of Y, Cb and Cr */

static void must(VelStatus status) {
  if (status == velStsNoErr) return;
  fprintf(stderr, "%s\n", orvGetStatusString(status));
  exit(1);
}

/* The segments up to the scan; gives where its bits begin. */
static int readTables(const Vel8u* file, int size) {
  for (int at = 2; at + 4 <= size;) {
    const int marker = file[at + 1], length = file[at + 2] << 8 | file[at + 3];
    const Vel8u *p = file + at + 4, *const end = file + at + 2 + length;
    at += 2 + length;
    if (marker == 0xDB) { /* DQT */
      for (; p < end; p += 65) must(orviQuantInvTableInit_JPEG_8u16u(p + 1, steps[p[0] & 3]));
    } else if (marker == 0xC4) { /* DHT */
      while (p < end) {
        VeliDecodeHuffmanSpec** code = &codes[p[0] >> 4 & 1][p[0] & 3];
        if (!*code) must(orvizkDecodeHuffmanSpecAlloc_JPEG_8u(code));
        must(orviDecodeHuffmanSpecInit_JPEG_8u(p + 1, p + 17, *code));
        int symbols = 0;
        for (int i = 1; i <= 16; ++i) symbols += p[i];
        p += 17 + symbols;
      }
    } else if (marker == 0xC0) { /* SOF0 */
      if (p[5] != 3 || p[7] != 0x22 || p[10] != 0x11 || p[13] != 0x11) return 0;
      width = p[3] << 8 | p[4];
      for (int i = 0; i < 3; ++i) stepsOf[i] = p[8 + 3 * i] & 3;
    } else if (marker == 0xDA) { /* SOS */
      for (int i = 0; i < 3; ++i) dcOf[i] = p[2 + 2 * i] >> 4 & 3, acOf[i] = p[2 + 2 * i] & 3;
      return at;
    }
  }
  return 0;
}

int main(int argc, char** argv) {
  static Vel8u file[1 << 22];
  FILE* in = argc == 3 ? fopen(argv[1], "rb") : NULL;
  const int size = in ? (int)fread(file, 1, sizeof file - 2, in) : 0;
  file[size] = 0xFF, file[size + 1] = 0xD9; /* at a marker the decoder reads no further */
  const int scan = readTables(file, size);
  if (!scan || !width) return fprintf(stderr, "mcu_row IN.jpg OUT.ppm, IN a baseline JPEG with 4:2:0 chroma\n"), 2;

  const int mcus = (width + 15) / 16;
  Vel8u* row = malloc((size_t)mcus * 16 * 16 * 3);
  int bits = 8 * scan, marker = 0, stored = 0; /* the decoder's state */
  Vel32u store = 0;
  Vel16s lastDc[3] = {0, 0, 0};
  for (int m = 0; m < mcus; ++m) {
    Vel16s centred[6 * 64];
    for (int b = 0; b < 6; ++b) { /* four of Y, one of Cb, one of Cr */
      const int c = b < 4 ? 0 : b - 3;
      Vel16s coefficients[64];
      Vel8u samples[64];
      must(orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(file, &bits, coefficients, &lastDc[c], &marker, &store, &stored,
                                                     codes[0][dcOf[c]], codes[1][acOf[c]]));
      must(orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(coefficients, samples, 8, steps[stepsOf[c]]));
      for (int i = 0; i < 64; ++i) centred[64 * b + i] = (Vel16s)(samples[i] - 128);
    }
    const Vel16s* const planes[3] = {centred, centred + 4 * 64, centred + 5 * 64};
    must(orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3(planes, row + 16 * 3 * m, mcus * 16 * 3));
  }

  FILE* out = fopen(argv[2], "wb");
  if (!out) return perror(argv[2]), 1;
  fprintf(out, "P6\n%d 16\n255\n", width);
  for (int y = 0; y < 16; ++y) fwrite(row + y * mcus * 16 * 3, 3, (size_t)width, out);
  return fclose(out) != 0;
}
