// The manifest of one provider as an XML tree: keywords, the three templates with their events, messages.
#pragma once

#include <tinyxml2.h>

namespace varnel {

/// What differs between the providers, in the system's narrow code page.
struct ManifestIdentity {
  const char* name;
  const char* guid;    // braced, upper case
  const char* symbol;  // the name and "GUID"
};

/// Composes the document into an empty `document`. False when memory runs out.
bool BuildManifestDocument(const ManifestIdentity& identity, tinyxml2::XMLDocument* document);

}  // namespace varnel
