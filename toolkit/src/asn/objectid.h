#pragma once

#include <string>

namespace tvk {

// Content octets of an OBJECT IDENTIFIER (X.690, 8.19); empty when the arcs don't name one.
std::string encodeObjectID(unsigned long const* arcs, unsigned int count);

// Whether content octets stand for these arcs.
bool equalsObjectID(unsigned char const* content, unsigned long length, unsigned long const* arcs,
                    unsigned int count);

// The dotted decimal form of content octets, also of arcs that no number type holds; empty for an arc of more
// than 586 octets.
std::string dottedObjectID(unsigned char const* content, unsigned long length);

} // namespace tvk
