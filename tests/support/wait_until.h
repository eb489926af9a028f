// Waiting for a condition that gives no signal of its own. Nothing else in the tests sleeps.
#pragma once

#include <functional>

namespace test_support {

// How much slower everything may be in this build.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double kSlowness = 5;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr double kSlowness = 5;
#else
constexpr double kSlowness = 1;
#endif
#else
constexpr double kSlowness = 1;
#endif

// How much slower a tool makes everything that runs this program, as LINKAPP_TEST_SLOWNESS in the environment says; 1
// where it is not there.
double slownessOfTool() noexcept;

// How often a test tries what it tries so many times elsewhere, to meet a rare moment: of 100 times so many as
// LINKAPP_TEST_ROUNDS in the environment says; all of them where it is not there.
unsigned int roundsUnderTool(unsigned int rounds) noexcept;

// Seconds after which something that should happen at once counts as never happening.
inline const double kDeadline = 20 * kSlowness * slownessOfTool();

// Looks at `condition` every now and then until it is true. False where it is not after `seconds`.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition, double seconds = kDeadline);

// Whether this thread of the process (its kernel number) waits for something.
bool isAsleep(long thread);

// Seconds of the monotonic clock.
double monotonicSeconds();

}  // namespace test_support
