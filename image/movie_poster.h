// The poster frame of a movie (its first key frame), decoded by the system's FFmpeg libraries
// opened at run time. Without them every movie answers kZbErrNoImporter, as a file no importer
// reads.
#ifndef ZERB_IMAGE_MOVIE_POSTER_H
#define ZERB_IMAGE_MOVIE_POSTER_H

#include <string>

#include "image/decoders.h"

long Zb7_MoviePosterFrame(const std::string &path, ZbImage &image);

#endif
