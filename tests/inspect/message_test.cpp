// What a notification means.
#include "inspect/message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "tests/inspect/hand_made.h"

namespace {

using hand_made::statusOf;
using inspect::fieldsOf;
using inspect::Message;
using inspect::nameOf;
using iosapp_def_::ConnectStatusNotify;

Message messageOf(std::uint32_t id, const void* payload, std::uint32_t size) {
  Message message;
  message.id = id;
  message.size = size;
  std::memcpy(message.payload.data(), payload, size);
  return message;
}

Message messageOf(const ConnectStatusNotify& status) {
  return messageOf(inspect::kIdConnectStatus, &status, sizeof status);
}

std::string textOf(const Message& message) {
  return nameOf(message) + " " + text::toText(fieldsOf(message));
}

TEST(Notification, of_each_kind_is_told_by_the_names_of_the_header) {
  ConnectStatusNotify status = statusOf(iosapp_def_::NOTIFYID_APPLAUNCH, 3);
  status.launchMethod = iosapp_def_::APPLAUNCH_WITHOUT_ALERT;
  EXPECT_EQ(textOf(messageOf(status)), "NOTIFYID_APPLAUNCH device=1 app=3 launchMethod=1");
  status = statusOf(iosapp_def_::NOTIFYID_CONNECTSTATUS);
  status.connectStatus = 1;
  status.iapType = 2;
  EXPECT_EQ(textOf(messageOf(status)), "NOTIFYID_CONNECTSTATUS device=1 connectStatus=1 connectType=0 iapType=2");
  status = statusOf(iosapp_def_::NOTIFYID_SESSIONSTATUS, 3);
  status.status = 1;
  EXPECT_EQ(textOf(messageOf(status)), "NOTIFYID_SESSIONSTATUS device=1 app=3 status=1");
  status = statusOf(iosapp_def_::NOTIFYID_SENDRESULT, 3);
  EXPECT_EQ(textOf(messageOf(status)), "NOTIFYID_SENDRESULT device=1 app=3 sendResult=0");
  status = statusOf(iosapp_def_::NOTIFYID_BTHFSTATUS);
  const std::uint8_t address[6] = {0xA0, 0xB1, 0xC2, 0xD3, 0xE4, 0xF5};
  std::memcpy(status.btAddress, address, sizeof address);
  EXPECT_EQ(textOf(messageOf(status)), "NOTIFYID_BTHFSTATUS device=1 btConnected=0 btAddress=a0:b1:c2:d3:e4:f5");
  status = statusOf(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO);
  std::strcpy(status.playbackAppName, "Radio");
  EXPECT_EQ(textOf(messageOf(status)), "NOTIFYID_PLAYBACKAPPINFO device=1 playbackAppName=Radio");
}

TEST(Notification, of_an_unknown_kind_keeps_its_number) {
  ConnectStatusNotify status = {};
  status.notifyType = 77;
  EXPECT_EQ(textOf(messageOf(status)), "ConnectStatus device=0 notifyType=77");
}

TEST(Notification, of_a_ring_or_a_registration_names_slot_and_place) {
  const iOSAppCommonDataNotify announcement = {1, 2, 39};
  EXPECT_EQ(textOf(messageOf(2, &announcement, sizeof announcement)), "FromHU device=1 app=2 slot=39");
  EXPECT_EQ(textOf(messageOf(3, &announcement, sizeof announcement)), "FromDevice device=1 app=2 slot=39");
  const std::uint32_t place = 7;
  EXPECT_EQ(textOf(messageOf(5, &place, sizeof place)), "AppInfo place=7");
}

TEST(Notification, that_is_short_counts_as_followed_by_zeros_and_an_empty_one_as_nothing) {
  const std::uint32_t kind = iosapp_def_::NOTIFYID_SESSIONSTATUS;
  EXPECT_EQ(textOf(messageOf(4, &kind, 1)), "NOTIFYID_SESSIONSTATUS device=0 app=0 status=0");
  EXPECT_FALSE(inspect::connectStatusOf(messageOf(4, &kind, 0)));
  EXPECT_FALSE(inspect::announcementOf(messageOf(2, &kind, 0)));
  EXPECT_FALSE(inspect::registeredPlaceOf(messageOf(5, &kind, 0)));
}

TEST(Notification, of_a_foreign_identifier_shows_its_bytes) {
  EXPECT_EQ(textOf(messageOf(1000, "ping", 4)), "id 1000 size=4 text=ping");
}

TEST(Notification, for_nobody_means_nothing) {
  Message message = messageOf(4, "\1\0\0\0", 4);
  message.isForNobody = true;
  EXPECT_EQ(textOf(message), "registrations ");
  EXPECT_FALSE(inspect::connectStatusOf(message));
}

TEST(Notification, whose_playing_app_fills_its_field_ends_with_it) {
  ConnectStatusNotify status = statusOf(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO);
  std::memset(status.playbackAppName, 'n', sizeof status.playbackAppName);
  status.launchMethod = 0x6E6E6E6E;
  const auto fields = fieldsOf(messageOf(status));
  EXPECT_EQ(std::get<std::string>(fields.back().value.get()).size(), 256U);
}

}  // namespace
