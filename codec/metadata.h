// What a JPEG file says beside its picture: which side is up, the resolution, the colour profile.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

namespace jpeg {

// Pixels on an inch (unit 1) or a centimetre (unit 2), or only their proportions (unit 0), as JFIF has it.
struct Density {
  int unit = 0, x = 1, y = 1;
};

struct Metadata {
  // Where the first row and column of the file belong, as EXIF numbers it. 1: top and left; 2: top and right;
  // 3: bottom and right; 4: bottom and left; 5: left and top; 6: right and top; 7: right and bottom; 8: left and bottom.
  int orientation = 1;
  Density density;
  std::vector<uint8_t> profile;  // ICC's; empty where there is none
};

// Reads the segments in front of the first scan. What is damaged there counts as missing, and never makes this fail.
Metadata readMetadata(const uint8_t* data, size_t size);

// How many channels the pictures have that a profile describes; 0 where it is for none that are known here.
int profileChannels(const std::vector<uint8_t>& profile);

}  // namespace jpeg
