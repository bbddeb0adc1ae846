// Visibility of the library's interface. Everything without LUMO_API stays inside the library.
#ifndef LUMOMEDIA_EXPORT_H
#define LUMOMEDIA_EXPORT_H

#if defined(_WIN32) && defined(LUMOMEDIA_SHARED)
#if defined(LUMOMEDIA_BUILDING)
#define LUMO_API __declspec(dllexport)
#else
#define LUMO_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define LUMO_API __attribute__((visibility("default")))
#else
#define LUMO_API
#endif

#endif
