// What expat's own build finds out about the system.
#pragma once

#define BYTEORDER 1234
#define HAVE_MEMMOVE 1
#define XML_CONTEXT_BYTES 1024
#define XML_DTD 1
#define XML_NS 1
