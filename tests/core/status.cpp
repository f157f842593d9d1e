// Status codes and their messages.
#include <gtest/gtest.h>
#include <climits>
#include <map>
#include <string>
#include "orv.h"

namespace {

// What callers may have come to rely on, to the letter.
const std::map<VelStatus, std::string> kMessages = {
    {-9999, "velStsNotSupportedModeErr: The requested mode is currently not supported"},
    {-9998, "velStsCpuNotSupportedErr: The target cpu is not supported"},
    {-9702, "No shared libraries were found in the Waterfall procedure"},
    {-9701, "No DLLs were found in the Waterfall procedure"},
    {-9700, "Error at loading of %s library"},
    {-216, "velStsUnknownStatusCodeErr: Unknown Status Code"},
    {-64, "velStsJPEGHuffTableErr: JPEG Huffman table is destroyed"},
    {-63, "velStsJPEGDCTRangeErr: JPEG DCT coefficient is out of the range"},
    {-62, "velStsJPEGOutOfBufErr: Attempt to access out of the buffer"},
    {-60, "velStsChannelOrderErr: Wrong order of the destination channels"},
    {-34, "velStsAnchorErr: Anchor point is outside the mask"},
    {-33, "velStsMaskSizeErr: Invalid mask size"},
    {-32, "velStsShiftErr: Shift value is less than zero"},
    {-23, "velStsResizeFactorErr: Resize factor(s) is less than or equal to zero"},
    {-22, "velStsInterpolationErr: Invalid interpolation mode"},
    {-14, "velStsStepErr: Step value is not valid"},
    {-9, "velStsMemAllocErr: Not enough memory allocated for the operation"},
    {-8, "velStsNullPtrErr: Null pointer error"},
    {-6, "velStsSizeErr: Wrong value of data size"},
    {-5, "velStsBadArgErr: Function arg/param is bad"},
    {-2, "velStsErr: Unknown/unspecified error, -2"},
    {0, "velStsNoErr: No error, it's OK"},
    {1, "velStsNoOperation: No operation has been executed"},
    {6, "velStsDivByZero: Zero value(s) of the divisor in the function Div"},
    {10, "velStsJPEGMarker: JPEG marker was met in the bitstream"},
    {20, "velStsNonNemlorCpu: The target cpu is not Genuine Nemlor"},
    {21, "velStsCpuMismatch: The library for given cpu cannot be set"},
    {29,
     "velStsWrongIntersectROI: Wrong ROI that has no intersection with the source or destination ROI. No operation"},
    {35, "velStsDoubleSize: Sizes of image are not multiples of 2"},
    {36, "velStsNotSupportedCpu: The cpu is not supported"},
    {37, "velStsUnknownCacheSize: The cpu is supported, but the size of the cache is unknown"},
    {46, "velStsNoAntialiasing: The mode does not support antialiasing"},
};
const std::map<VelStatus, std::string> kNames = {
#include "status_names.inc"
};

TEST(Status, MessagesAreToTheLetter) {
  for (const auto& [code, message] : kMessages) EXPECT_EQ(velGetStatusString(code), message);
}

TEST(Status, MessagesBeginWithTheName) {
  EXPECT_EQ(kNames.size(), 266u);  // three rows have none
  for (const auto& [code, name] : kNames) {
    const std::string message = velGetStatusString(code), front = name + ": ";
    EXPECT_EQ(message.substr(0, front.size()), front) << code;
    EXPECT_GT(message.size(), front.size()) << code;
  }
}

TEST(Status, NoOtherCodeIsKnown) {
  const char* const unknown = velGetStatusString(-216);
  int known = 0;
  for (int code = -10000; code <= 100; ++code) {
    const char* const message = velGetStatusString(code);
    EXPECT_EQ(orvGetStatusString(code), message) << code;
    const bool listed = kNames.count(code) || (code >= -9702 && code <= -9700);
    EXPECT_EQ(message != unknown || code == -216, listed) << code;
    known += listed;
  }
  EXPECT_EQ(known, 269);
  for (int code : {INT_MIN, 1000, INT_MAX}) EXPECT_EQ(velGetStatusString(code), unknown) << code;
}

}  // namespace
