/* kwrender's version, for C and C++ (the build reads it from here). */
#ifndef KWRENDER_VERSION_H
#define KWRENDER_VERSION_H

#define KWRENDER_VERSION_MAJOR 0
#define KWRENDER_VERSION_MINOR 2
#define KWRENDER_VERSION_PATCH 0
#define KWRENDER_VERSION_STRING "0.2.0"

#endif
