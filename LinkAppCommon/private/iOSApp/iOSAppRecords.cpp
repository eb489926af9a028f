#include "LinkAppCommon/iOSAppRecords.h"

iOSLinkAppInfo::iOSLinkAppInfo() = default;
iOSLinkAppInfo::iOSLinkAppInfo(const iOSLinkAppInfo& other) = default;
iOSLinkAppInfo& iOSLinkAppInfo::operator=(const iOSLinkAppInfo& other) = default;
iOSLinkAppInfo::~iOSLinkAppInfo() = default;

SupportiOSLinkAppInfo::SupportiOSLinkAppInfo() : list(1) {}

SupportiOSLinkAppInfo::SupportiOSLinkAppInfo(const SupportiOSLinkAppInfo& other) : list(other.list) {}

SupportiOSLinkAppInfo& SupportiOSLinkAppInfo::operator=(const SupportiOSLinkAppInfo& other) {
  list = other.list;
  return *this;
}

SupportiOSLinkAppInfo::~SupportiOSLinkAppInfo() = default;
