#pragma once

#if !defined(SWIG) && (defined(_MSVC_LANG) ? _MSVC_LANG : __cplusplus) < 202002L
#error "zarnik needs C++20: compile with -std=c++20 or later"
#endif

#if defined(SWIG)
#define ZARNIK_API
#elif defined(_WIN32)
#ifdef ZARNIK_BUILDING_LIBRARY
#define ZARNIK_API __declspec(dllexport)
#else
#define ZARNIK_API __declspec(dllimport)
#endif
#else
#define ZARNIK_API __attribute__((visibility("default")))
#endif
