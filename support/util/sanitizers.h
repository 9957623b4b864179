// Whether AddressSanitizer is on, as GCC and Clang each tell it: FUSEKIT_ADDRESS_SANITIZER.
#ifndef FUSEKIT_SUPPORT_UTIL_SANITIZERS_H
#define FUSEKIT_SUPPORT_UTIL_SANITIZERS_H

#if defined(__SANITIZE_ADDRESS__)
#define FUSEKIT_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FUSEKIT_ADDRESS_SANITIZER 1
#endif
#endif

#endif  // FUSEKIT_SUPPORT_UTIL_SANITIZERS_H
