#pragma once
// Converting the request slots between controller and client units, and storing the values of a
// successful "C", "D" or "E" exchange in the readings store.

#include <cstdint>

namespace tavkelo {

class KeloContext;

class DyneReadings {
 public:
  explicit DyneReadings(KeloContext& ctx) : ctx_(ctx) {}

  void ScaleConvertData(bool toClient);
  // `command` is the request's: "C", "D" or "E".
  void StoreDyneData(int32_t command);
  // Stores a client value in the field of its variable number (what an "E" reply fills).
  void StoreVariable(uint8_t variable, float clientValue, float controllerValue);

 private:
  void StoreSpeed(float mph);
  void CopyStatusBits();

  KeloContext& ctx_;
};

}  // namespace tavkelo
