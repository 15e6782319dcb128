#pragma once

#ifndef SWIG
#if defined(_MSVC_LANG)
#define ZARNIK_LANGUAGE _MSVC_LANG
#else
#define ZARNIK_LANGUAGE __cplusplus
#endif
#if ZARNIK_LANGUAGE < 202002L
#error "zarnik needs C++20: compile with -std=c++20 or later"
#endif
#undef ZARNIK_LANGUAGE
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
