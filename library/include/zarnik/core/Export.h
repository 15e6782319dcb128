#pragma once

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
