// Distinguished names as lines of text.
#include "foundation/textOutput.h"
#include "kxcert/cert/sxDN.h"

void sxDN::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  const char *text = GetStr();
  out->Indent(indent);
  out->Puts(text != nullptr ? text : "<no name>");
  out->Puts("\n");
}

void sxDN::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void sxDN::Herror() const { sxHerrorOf(*this, 0); }
