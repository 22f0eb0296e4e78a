// SPDX-License-Identifier: MIT
#include "protocol/usb_request.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <numeric>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using enum UsbRequestLayout;

constexpr UsbRequest kRequest = {.direction = EDIR_DeviceToHost,
                                 .level = EDRQ_Level{0x44332211},
                                 .recipient = EDRQ_Recipient{0x88776655},
                                 .request = 0x99,
                                 .value = 0xBBAA,
                                 .index = 0xDDCC,
                                 .length = 0x04030201};

std::span<const std::uint8_t> bytes(const VQ_Dispatch& record, std::size_t from,
                                    std::size_t count) {
  return std::span(record.bytes).subspan(from, count);
}

std::array<std::uint8_t, UsbRequest::kDataLimit> numberedBytes() {
  std::array<std::uint8_t, UsbRequest::kDataLimit> data{};
  std::iota(data.begin(), data.end(), std::uint8_t{0});
  return data;
}

TEST(UsbRequests, TheOldLayoutHasTheFieldsBeforeTheData) {
  const VQ_Dispatch record = kRequest.encode(kOld, std::array<std::uint8_t, 2>{7, 8});
  EXPECT_THAT(bytes(record, 0, 32),
              ElementsAre(34, 0, 0, 0, 0x80, 0, 0, 0, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                          0x88, 0x99, 0, 0xAA, 0xBB, 0xCC, 0xDD, 0, 0, 1, 2, 3, 4, 7, 8, 0, 0));
  EXPECT_THAT(bytes(record, 32, 228), Each(0));
}

TEST(UsbRequests, TheNewLayoutHasTheDataBeforeTheFields) {
  const VQ_Dispatch record = kRequest.encode(kNew, std::array<std::uint8_t, 2>{7, 8});
  EXPECT_THAT(bytes(record, 0, 8), ElementsAre(34, 0, 0, 0, 7, 8, 0, 0));
  EXPECT_THAT(bytes(record, 8, 124), Each(0));
  EXPECT_THAT(bytes(record, 132, 21),
              ElementsAre(1, 2, 3, 4, 0xAA, 0xBB, 0xCC, 0xDD, 0x80, 0, 0, 0, 0x11, 0x22, 0x33, 0x44,
                          0x55, 0x66, 0x77, 0x88, 0x99));
  EXPECT_THAT(bytes(record, 153, 107), Each(0));
}

TEST(UsbRequests, BothSidesReadTheSameFieldsInBothLayouts) {
  for (const UsbRequestLayout layout : {kOld, kNew}) {
    const VQ_Dispatch record = kRequest.encode(layout, std::array<std::uint8_t, 1>{7});
    EXPECT_EQ(UsbRequest::decode(record, layout), kRequest);
  }
}

TEST(UsbRequests, TheOldLayoutDropsDataBeyondTheRecord) {
  const auto data = numberedBytes();
  const VQ_Dispatch record = kRequest.encode(kOld, data);
  EXPECT_EQ(UsbRequest::decode(record, kOld), kRequest);
  EXPECT_THAT(bytes(record, 28, 232), ElementsAreArray(std::span(data).first<232>()));
}

TEST(UsbRequests, LongDataOverwritesTheNewLayoutsFields) {
  const auto data = numberedBytes();
  EXPECT_EQ(UsbRequest::decode(kRequest.encode(kNew, std::span(data).first<128>()), kNew),
            kRequest);
  const VQ_Dispatch record = kRequest.encode(kNew, data);
  EXPECT_EQ(record.command(), VQ_Command::kUsbRequest);
  EXPECT_THAT(record.payload(), ElementsAreArray(data));
}

TEST(UsbRequests, WithoutDataTheNewLayoutsWholePayloadIsClear) {
  EXPECT_EQ(kRequest.encode(kNew, {}).bytes, VQ_Dispatch(VQ_Command::kUsbRequest).bytes);
  EXPECT_EQ(UsbRequest::decode(kRequest.encode(kOld, {}), kOld), kRequest);
}

TEST(UsbRequests, AnAnswerHasItsDataAndLengthAndKeepsTheOtherBytes) {
  for (const UsbRequestLayout layout : {kOld, kNew}) {
    VQ_Dispatch record = kRequest.encode(layout, std::array<std::uint8_t, 4>{9, 9, 9, 9});
    encodeUsbAnswer(record, layout, std::array<std::uint8_t, 3>{1, 2, 3});
    EXPECT_THAT(decodeUsbAnswer(record, layout), ElementsAre(1, 2, 3));
    UsbRequest expected = kRequest;
    expected.length = 3;
    EXPECT_EQ(record.bytes, expected.encode(layout, std::array<std::uint8_t, 4>{1, 2, 3, 9}).bytes);
  }
}

TEST(UsbRequests, AnAnswersDataEndsWithTheRecord) {
  UsbRequest request = kRequest;
  for (const std::uint32_t length : {256u, 257u, 0x80000000u, 0xFFFFFFFFu}) {
    request.length = length;
    const std::array<std::uint8_t, 1> data = {7};
    EXPECT_EQ(decodeUsbAnswer(request.encode(kOld, data), kOld).size(), 232u);
    EXPECT_EQ(decodeUsbAnswer(request.encode(kNew, data), kNew).size(), 256u);
  }
  request.length = 0;
  EXPECT_THAT(decodeUsbAnswer(request.encode(kOld, {}), kOld), IsEmpty());
}

}  // namespace
