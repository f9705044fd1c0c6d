#include "foundation/jsonText.h"

#include "support/script.h"

namespace {

TEST(JsonText, DoesWhatTheStepsSay) {
  const auto textIn = [](JsonText &json, const char *key, const std::string &text) { json.Text(key, text); };
  Script()
      .On("Json", [] { return JsonText(); })
      .On("beginObject", &JsonText::BeginObject)
      .On("endObject", &JsonText::EndObject)
      .On("beginArray", &JsonText::BeginArray)
      .On("endArray", &JsonText::EndArray)
      .On("text", textIn)
      .On("number", &JsonText::Number)
      .On("null", &JsonText::Null)
      .On("get", &JsonText::Get)
      .On("list", [textIn](const std::string &text) {
        JsonText json;
        json.BeginArray();
        textIn(json, nullptr, text);
        json.EndArray();
        return json.Get();
      })
      .Run("foundation/jsonText.steps");
}

}  // namespace
