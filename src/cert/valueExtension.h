/// @file
/// Extensions that are one value: what all of them share.
#ifndef KXCERT_SRC_CERT_VALUEEXTENSION_H_
#define KXCERT_SRC_CERT_VALUEEXTENSION_H_

#include <memory>
#include <utility>
#include <vector>

#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/platform/log.h"
#include "sxExtension_imp.h"

/// @tparam Handle  its public class
template <class Handle, class Value>
class sxValueExtension : public sxExtension_imp {
 public:
  static const char *const kName;  // each kind defines its own, and Sprint

  explicit sxValueExtension(Value value) : m_value(std::move(value)) {}

  const char *ExtName() const override { return kName; }
  void Herror() const override { sxExtension_imp::Herror(); }
  void Fprint(FILE *out, int indent) const override { sxExtension_imp::Fprint(out, indent); }
  void Sprint(SxStream *out, int indent) const override;
  sxExtension_imp *Clone() const override { return new sxValueExtension(*this); }
  sxExtension *NewHandle() override {
    static_assert(sizeof(Handle) == sizeof(sxExtension));  // through which it is deleted
    return new Handle(this);
  }

  const Value &Get() const { return m_value; }
  static const Value &Of(const sxExtension &ext) { return static_cast<const sxValueExtension *>(ext.GetP())->Get(); }

  /// @param read  makes the value of the tree; false: it is none
  template <class Tree>
  static sxExtension *Parse(const sxASN_Extension &ext, int &understood, bool (*read)(const Tree &, Value *)) {
    Tree tree;
    Value value{};
    if (sxParseExtension(tree, &ext) != 0) return nullptr;
    if (!read(tree, &value)) {
      herror_func(0, 0, "sxValueExtension::Parse: %s: not of its form", kName);
      return nullptr;
    }
    understood = 1;
    return (new sxValueExtension(std::move(value)))->NewHandle();
  }

  /// @param write  fills the tree; returns why this must not be issued, or null
  template <class Tree>
  static sxASN_Extension *Compose(const sxExtension &ext, const sxAsnOid &oid, int critical,
                                  const char *(*write)(const Value &, Tree *)) {
    Tree tree;
    if (!sxExtensionIs(ext, kName)) return nullptr;
    if (const char *const reason = write(Of(ext), &tree); reason != nullptr) {
      herror_func(0, 0, "sxValueExtension::Compose: %s: %s", kName, reason);
      return nullptr;
    }
    return sxNewExtension(tree, oid, critical);
  }

 private:
  Value m_value;
};

/// Whether as many elements are read, and that there are some: lists are SIZE (1..MAX).
inline bool sxIsIssuedCount(int count) { return count > 0 && static_cast<size_t>(count) <= kMaxIssuedItems; }

/// Why a list of so many must not be issued: it would not be read. @param none  the reason where there is none @return or null
inline const char *sxCountFault(size_t count, const char *none) {
  if (count == 0) return none;
  return count <= kMaxIssuedItems ? nullptr : "more than is read";
}

/// Whether something holds of every element of a list.
template <class Tree, class Holds>
bool sxAllOf(const Tree &tree, const Holds &holds) {
  for (const auto &element : tree) {
    if (!holds(element)) return false;
  }
  return true;
}

/// Makes a list out of another one.
template <class Tree, class Item, class Read>
bool sxReadItems(const Tree &tree, std::vector<Item> *items, const Read &read) {
  if (!sxIsIssuedCount(tree.Count())) return false;
  items->reserve(static_cast<size_t>(tree.Count()));
  for (const auto &element : tree) {
    if (!read(element, &items->emplace_back())) return false;
  }
  return true;
}

sxExtension *sxParseCertPolicies(const sxASN_Extension &ext, int &understood);
sxExtension *sxParsePolicyMappings(const sxASN_Extension &ext, int &understood);
sxExtension *sxParsePolicyConstraints(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseInhibitAnyPolicy(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseNameConstraints(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseIssuerAltName(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseSubjectInfoAccess(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseTlsFeature(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseOcspNoCheck(const sxASN_Extension &ext, int &understood);

sxASN_Extension *sxComposeCertPolicies(const sxExtension &ext, int critical);
sxASN_Extension *sxComposePolicyMappings(const sxExtension &ext, int critical);
sxASN_Extension *sxComposePolicyConstraints(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeInhibitAnyPolicy(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeNameConstraints(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeIssuerAltName(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeSubjectInfoAccess(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeTlsFeature(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeOcspNoCheck(const sxExtension &ext, int critical);

#endif
