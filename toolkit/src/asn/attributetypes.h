#pragma once

namespace tvk {

// The short name of a name attribute's type, from the content octets of its object identifier; null for a
// type that has none.
char const* attributeShortName(unsigned char const* content, unsigned long length);

} // namespace tvk
