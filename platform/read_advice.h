// Telling the system how a file is about to be read, so that it reads ahead far enough.
#ifndef ZERB_PLATFORM_READ_ADVICE_H
#define ZERB_PLATFORM_READ_ADVICE_H

// The file will be read once from start to end: the system reads further ahead than it would
// for random reads. Advice only; a file system that ignores it reads as usual.
void Zb7_PlatformAdviseSequentialRead(int fd);

#endif
