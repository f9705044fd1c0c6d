#include "kxcert/keys/sxToken.h"

#include "support/keyFiles.h"
#include "support/script.h"

namespace {

TEST(sxToken, DoesWhatTheStepsSay) {
  Script()
      .On("Token", [](const char *label) { return new sxToken(label); })   // for its last free to delete
      .On("save", [](sxToken *token) { sxSavePKobj(token); })
      .On("free", [](sxToken *token) { sxFreePKobj(token); })
      .On("label", &sxToken::Label)
      .On("Key", [] { return EcTestKey("prime256v1"); })
      .On("add", &sxToken::AddKey)
      .On("find", [](sxToken &token, const unsigned char *id, int idLen) { return PubKeyRef(token.FindKey(id, idLen)); })
      .On("remove", &sxToken::RemoveKey)
      .On("numKeys", &sxToken::NumKeys)
      .On("isTheKey", [](sxPubKey *key) { return sxPubKey_Equal(key, EcTestKey("prime256v1").get()); })
      .Run("keys/sxToken.steps");
}

}  // namespace
