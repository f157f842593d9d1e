/* A block of 8 by 8 grey samples to a JPEG file of one block: encode_block IN.pgm QUALITY OUT.jpg
 *
 * All that a block takes: quantisation table, forward transform, statistics, a code made from them, and the bits. */
#include <orv.h>
#include <stdio.h>
#include <stdlib.h>

static void must(VelStatus status) {
  if (status == velStsNoErr) return;
  fprintf(stderr, "%s\n", orvGetStatusString(status));
  exit(1);
}

/* The best code for counted symbols: an encoder's table from the library's allocator, and its DHT segment. */
static VeliEncodeHuffmanSpec* makeCode(const int counts[256], int id, FILE* out) {
  Vel8u lengths[16], symbols[256];
  VeliEncodeHuffmanSpec* code;
  int total = 0;
  must(orviEncodeHuffmanRawTableInit_JPEG_8u(counts, lengths, symbols));
  must(orviEncodeHuffmanSpecInitAlloc_JPEG_8u(lengths, symbols, &code));
  for (int i = 0; i < 16; ++i) total += lengths[i];
  fprintf(out, "\xFF\xC4%c%c%c", (19 + total) >> 8, (19 + total) & 255, id);
  fwrite(lengths, 1, 16, out);
  fwrite(symbols, 1, (size_t)total, out);
  return code;
}

int main(int argc, char** argv) {
  Vel8u samples[64];
  FILE* in = argc == 4 ? fopen(argv[1], "rb") : NULL;
  if (!in || fscanf(in, "P5 8 8 255%*c") < 0 || fread(samples, 1, 64, in) != 64)
    return fprintf(stderr, "encode_block IN.pgm QUALITY OUT.jpg, IN of 8 by 8 pixels\n"), 2;
  FILE* out = fopen(argv[3], "wb");
  if (!out) return perror(argv[3]), 1;

  /* The steps of ITU-T T.81, table K.1, in zigzag order, and scaled by the quality. */
  Vel8u raw[64] = {16, 11,  12, 14, 12, 10, 16,  14,  13,  14, 18, 17,  16,  19,  24,  40,  26, 24,  22,  22, 24, 49,
                   35, 37,  29, 40, 58, 51, 61,  60,  57,  51, 56, 55,  64,  72,  92,  78,  64, 68,  87,  69, 55, 56,
                   80, 109, 81, 87, 95, 98, 103, 104, 103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99};
  Vel16u table[64];
  must(orviQuantFwdRawTableInit_JPEG_8u(raw, atoi(argv[2])));
  must(orviQuantFwdTableInit_JPEG_8u16u(raw, table));
  Vel16s coefficients[64];
  must(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, 8, coefficients, table));

  fwrite("\xFF\xD8\xFF\xDB\0\x43\0", 1, 7, out); /* SOI, DQT */
  fwrite(raw, 1, 64, out);
  fwrite("\xFF\xC0\0\x0B\x08\0\x08\0\x08\x01\x01\x11\0", 1, 13, out); /* SOF0: 8 by 8, one component */
  int dcCounts[256] = {0}, acCounts[256] = {0};
  Vel16s lastDc = 0;
  must(orviGetHuffmanStatistics8x8_JPEG_16s_C1(coefficients, dcCounts, acCounts, &lastDc));
  VeliEncodeHuffmanSpec *dc = makeCode(dcCounts, 0x00, out), *ac = makeCode(acCounts, 0x10, out);
  fwrite("\xFF\xDA\0\x08\x01\x01\0\0\x3F\0", 1, 10, out); /* SOS */

  /* A block takes at most 64 codes of 16 bits and as many values of 14, twice that with a zero behind each FF, and the
   * encoder wants 8 bytes more. */
  Vel8u bits[2 * 64 * 30 / 8 + 8];
  int length = 0;
  lastDc = 0;
  must(orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1(coefficients, bits, &length, &lastDc, dc, ac));
  if (length % 8) bits[length / 8] |= (Vel8u)(0xFF >> length % 8); /* the last byte is filled with ones */
  fwrite(bits, 1, (size_t)(length + 7) / 8, out);
  if (length % 8 && bits[length / 8] == 0xFF) fputc(0, out); /* and an FF is followed by 00 */
  fwrite("\xFF\xD9", 1, 2, out);                             /* EOI */
  must(orviEncodeHuffmanSpecFree_JPEG_8u(dc));
  must(orviEncodeHuffmanSpecFree_JPEG_8u(ac));
  return fclose(out) != 0;
}
