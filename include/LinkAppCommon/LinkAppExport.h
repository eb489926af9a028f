// Marks what libLinkAppCommon.so shows to its users; everything else in it is hidden.
#pragma once

#define LINKAPP_API __attribute__((visibility("default")))
