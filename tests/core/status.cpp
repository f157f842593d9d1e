// Status codes and their messages.
#include <gtest/gtest.h>
#include <climits>
#include <map>
#include <string>
#include "orv.h"

namespace {

// Messages of codes that the library returns, to the letter, and the three that have no name.
const std::map<VelStatus, std::string> kMessages = {
    {-9702, "No shared libraries were found in the Waterfall procedure"},
    {-9701, "No DLLs were found in the Waterfall procedure"},
    {-9700, "Error at loading of %s library"},
    {-64, "velStsJPEGHuffTableErr: JPEG Huffman table is destroyed"},
    {-63, "velStsJPEGDCTRangeErr: JPEG DCT coefficient is out of the range"},
    {-62, "velStsJPEGOutOfBufErr: Attempt to access out of the buffer"},
    {-14, "velStsStepErr: Step value is not valid"},
    {-8, "velStsNullPtrErr: Null pointer error"},
    {-6, "velStsSizeErr: Wrong value of data size"},
    {-5, "velStsBadArgErr: Function arg/param is bad"},
    {-2, "velStsErr: Unknown/unspecified error, -2"},
    {0, "velStsNoErr: No error, it's OK"},
    {6, "velStsDivByZero: Zero value(s) of the divisor in the function Div"},
    {20, "velStsNonNemlorCpu: The target cpu is not Genuine Nemlor"},
    {21, "velStsCpuMismatch: The library for given cpu cannot be set"},
    {35, "velStsDoubleSize: Sizes of image are not multiples of 2"},
    {36, "velStsNotSupportedCpu: The cpu is not supported"},
    {37, "velStsUnknownCacheSize: The cpu is supported, but the size of the cache is unknown"},
};
const std::map<VelStatus, std::string> kNames = {
#include "status_names.inc"
};

TEST(Status, MessagesAreToTheLetterAndBeginWithTheName) {
  const std::string unknown = "velStsUnknownStatusCodeErr: Unknown Status Code";
  EXPECT_EQ(kNames.size(), 266u);
  for (int code = -10000; code <= 100; ++code) {
    const std::string message = velGetStatusString(code);
    EXPECT_EQ(message, orvGetStatusString(code));
    if (const auto quoted = kMessages.find(code); quoted != kMessages.end())
      EXPECT_EQ(message, quoted->second);
    else if (const auto named = kNames.find(code); named != kNames.end())
      EXPECT_EQ(message.compare(0, named->second.size() + 2, named->second + ": "), 0) << message;
    else
      EXPECT_EQ(message, unknown) << code;
  }
  for (int code : {-216, INT_MIN, INT_MAX}) EXPECT_EQ(velGetStatusString(code), unknown);
}

}  // namespace
