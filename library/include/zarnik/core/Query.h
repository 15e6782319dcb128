#pragma once

// Queries are const in C++. The flat interface takes their object as a changeable one, and its messages say so.
#ifdef SWIG
#define ZARNIK_QUERY
#else
#define ZARNIK_QUERY const
#endif
