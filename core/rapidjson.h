// RapidJSON, the header-only library that writes and reads the JSON the plug-in answers and
// takes. Include it through this header only.
//
// RapidJSON 1.1's internal stack computes "null + size" before its first allocation, which is
// undefined behaviour clang's sanitizer reports (harmless in practice: the pointer is only
// compared). Its own functions are therefore built without that one check, so the sanitizer keeps
// watching the plug-in's code.
#ifndef ZERB_CORE_RAPIDJSON_H
#define ZERB_CORE_RAPIDJSON_H

#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wignored-attributes"  // functions declared before they are defined
#pragma clang attribute push(__attribute__((no_sanitize("pointer-overflow"))), apply_to = function)
#endif
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#if defined(__clang__)
#pragma clang attribute pop
#pragma clang diagnostic pop
#endif

#endif
