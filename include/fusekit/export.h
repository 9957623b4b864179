// Export macro for the public API of libfusekit.
#ifndef FUSEKIT_EXPORT_H
#define FUSEKIT_EXPORT_H

#if defined(_WIN32)
#if defined(FUSEKIT_BUILDING_LIBRARY)
#define FUSEKIT_API __declspec(dllexport)
#else
#define FUSEKIT_API __declspec(dllimport)
#endif
#else
#define FUSEKIT_API __attribute__((visibility("default")))
#endif

#endif  // FUSEKIT_EXPORT_H
