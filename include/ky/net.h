// File: ky/net.h
//
// IPv4 and IPv6 address texts checked and brought into one canonical spelling
// (so that two spellings of one address compare equal), host names cleaned of
// surrounding blanks, host:port texts split and built with IPv6 brackets where
// needed, and the machine's own IPv4 addresses. Validation and canonical forms
// are the platform's inet_pton and inet_ntop. No function reports errors of
// its own: a rejected text reads as false, null, port 0 or an empty result.
// Text arguments must not be null unless a function says otherwise. All
// functions are reentrant.
#ifndef KY_NET_H
#define KY_NET_H

#include <string>
#include <vector>

#include "ky/export.h"

namespace ky {

// True when inet_pton(AF_INET) accepts text: a full dotted quad of decimal
// numbers, no shortened forms.
KY_API bool isIpv4Address(const char* text);

// True when inet_pton(AF_INET6) accepts text (no brackets, no zone index).
KY_API bool isIpv6Address(const char* text);

// On success assigns the canonical dotted text of the IPv4 address in text to
// out and returns out's characters; on failure returns null and leaves out as
// it was.
KY_API const char* normalizeIpv4Address(std::string& out, const char* text);

// As normalizeIpv4Address for IPv6: the compressed form of inet_ntop, lower
// case hexadecimal, the longest run of zero groups as "::".
KY_API const char* normalizeIpv6Address(std::string& out, const char* text);

// Canonical host text of text (null counts as empty) in out, which it returns.
// Blanks and tabs around text are dropped. A text with a ':' is an IPv6
// literal: canonical when valid, kept as written otherwise, and enclosed in
// "[" "]" when bracket is true. A valid IPv4 address becomes canonical. Any
// other text is a host name and keeps its letters and case.
KY_API std::string& normalizeHostName(std::string& out, const char* text, bool bracket);

// Splits text into host and port. Leading blanks and tabs are skipped; then:
// - "[host]...:port": the host is what the brackets hold; anything between
//   "]" and the first ":" after it is ignored;
// - a text without ':' that is a valid port ("8080") is a port with an empty
//   host; any other such text is a host with port 0;
// - a text with ':' that is a whole IPv6 address ("fe80::1:80") is a host
//   with port 0; otherwise the host ends at the first ':'.
// normalize passes the host through normalizeHostName (unbracketed) instead
// of copying it as written. A port text may have blanks and tabs around it
// and leading zeros, must hold 1 to 5 further decimal digits and nothing
// else, and must be 1..65535 or equal special_port when special_port is above
// 65535; any other port text gives port 0.
KY_API void parseHostNamePort(std::string& host, int& port, const char* text, bool normalize,
                              int special_port);

// Builds "host:port" in out and returns out. The host is normalised with
// normalizeHostName (IPv6 bracketed) unless raw is true, in which case it is
// copied as given, with brackets added only when it holds a ':' and does not
// start with "[". The port is appended only when it is 1..65535, or equals
// special_port with special_port above 65535; its ':' is left out when
// bare_port is true and the host part is empty.
KY_API std::string& formatHostNamePort(std::string& out, const char* host, int port, bool raw,
                                       bool bare_port, int special_port);

// Replaces out with the machine's IPv4 interface addresses in host byte
// order, in the order the system lists its interfaces, duplicates kept and
// 127.0.0.0/8 left out; returns out. Empty when the list cannot be read.
KY_API std::vector<unsigned int>& get_ipv4_addresses(std::vector<unsigned int>& out);

}  // namespace ky

#endif  // KY_NET_H
