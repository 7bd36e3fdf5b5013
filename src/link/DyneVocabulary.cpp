#include "link/DyneVocabulary.hpp"

#include <cstdio>
#include <cstring>

#include "platform/VbFormat.hpp"

namespace tavkelo {

std::string DyneCommandName(int32_t code) {
  switch (code) {
    case '0':
      return "Regulator Off";
    case '1':
      return "Speed Regulator On";
    case '2':
      return "Torque Regulator On";
    case '3':
      return "Drive Regulator On";
    case '4':
      return "ASM Regulator On";
    case '5':
      return "Raise Lifts";
    case '6':
      return "Lower Lifts";
    case '9':
      return "Reset Distance";
    case 'A':
      return "Augmented Breaking On";
    case 'B':
      return "Augmented Breaking Off";
    case 'C':
      return "Get Test Values";
    case 'D':
      return "Get Status";
    case 'E':
      return "Get Variable";
    case 'F':
      return "Write Variable";
    case 'G':
      return "Restraint System Stop";
    case 'H':
      return "Stop Watch 1 On";
    case 'I':
      return "Stop Watch 1 Off";
    case 'J':
      return "Motor On";
    case 'K':
      return "Motor Off";
    case 'L':
      return "Calibrate Zero Point";
    case 'M':
      return "Calibrate Amplification";
    case 'N':
      return "Stop Zero Amp Calibration";
    case 'O':
      return "IGBT Test On";
    case 'P':
      return "IGBT Test Off";
    case 'Q':
      return "Variable Load Regulator On";
    case 'R':
      return "Stop Watch 2 On";
    case 'S':
      return "Stop Watch 2 Off";
    case 'T':
      return "Auto Offset Adjust On";
    case 'U':
      return "Auto Offset Ajust Off";
    case 'V':
      return "Auto Offset Adjust Normal";
    case 'X':
      return "12 Volt On";
    case 'Y':
      return "12 Volt Off";
    case 'a':
      return "Belt Compensation On";
    case 'b':
      return "Belt Compensation Off";
    default:
      return "??";
  }
}

std::string DyneVariableBareName(uint8_t number) {
  switch (number) {
    case 0:
      return "VERSION";
    case 1:
      return "ROLLDIAMETER";
    case 6:
      return "BASEINERTIA";
    case 30:
      return "TORQUE_REG_RELEASE";
    case 36:
      return "TORQUE_CAL_FACTOR";
    case 50:
      return "EEPROM_RESET";
    case 51:
      return "PARASITIC_LOSSES_A";
    case 52:
      return "PARASITIC_LOSSES_B";
    case 53:
      return "PARASITIC_LOSSES_C";
    case 59:
      return "AMPLIFICATION_SCALE1";
    case 61:
      return "AMPLIFICATION_SCALE2";
    case 84:
      return "PARASITIC_TEMP_COMP";
    case 85:
      return "PARASITIC_TEMP_DEGC";
    case 88:
      return "CAL_WEIGHT";
    case 98:
      return "15MPH_LOSSES";
    case 99:
      return "25MPH_LOSSES";
    case 200:
      return "SPEEDTARGET";
    case 201:
      return "TORQUETARGET";
    case 202:
      return "DSR_VEHWEIGHT";
    case 203:
      return "DSR_C";
    case 204:
      return "DSR_B";
    case 205:
      return "DSR_A";
    case 206:
      return "BRAKECONTROL";
    case 207:
      return "STOPWATCH1_START_SPEED";
    case 208:
      return "STOPWATCH1_STOP_SPEED";
    case 209:
      return "SPEED";
    case 210:
      return "ACCELERATION";
    case 211:
      return "POWER";
    case 212:
      return "GTRL_A";
    case 213:
      return "GTRL_B";
    case 214:
      return "GTRL_C";
    case 215:
      return "SUPPORT_SPEED";
    case 216:
      return "RIGHTWEIGHT";
    case 217:
      return "LEFTWEIGHT";
    case 218:
      return "ISE";
    case 220:
      return "TORQUEMINUS";
    case 221:
      return "TORQUEPLUS";
    case 222:
      return "FORCETEMP";
    case 223:
      return "LINECURRENT";
    case 224:
      return "BEARINGTEMP";
    case 225:
      return "DISTANCE";
    case 226:
      return "NOTASSIGNED";
    case 227:
      return "STOPWATCH1";
    case 228:
      return "ASMPWRTARGET";
    case 229:
      return "ASMGTRL";
    case 230:
      return "ASMSPEED";
    case 231:
      return "TORQUE";
    case 232:
      return "INTERSPEED";
    case 233:
      return "STOPWATCH1_INTER";
    case 234:
      return "STOPWATCH2_START_SPEED";
    case 235:
      return "STOPWATCH2_STOP_SPEED";
    case 236:
      return "STOPWATCH2";
    case 238:
      return "TOTALWEIGHT";
    case 239:
      return "PARASITICS_A_COEFF";
    case 240:
      return "PARASITICS_B_COEFF";
    case 241:
      return "PARASITICS_C_COEFF";
    case 242:
      return "PARASITIC_5015_LOSSES";
    case 243:
      return "PARASITIC_2525_LOSSES";
    case 244:
      return "MEASURING_DIRECTION";
    default:
      return "??";
  }
}

std::string DyneVariableName(uint8_t number) {
  return VbFormat(static_cast<int>(number), "000") + "-" + DyneVariableBareName(number);
}

bool IsValidDyneCommand(uint8_t code) {
  return code != 0 && std::strchr(kValidDyneCommands, static_cast<char>(code)) != nullptr;
}

std::string CommStatusName(int16_t status) {
  switch (status) {
    case 0:
      return "Unknown";
    case 1:
      return "Pending";
    case 2:
      return "Timeout";
    case 3:
      return "OverFlow";
    case 4:
      return "NAK";
    case 5:
      return "ACK";
    case 6:
      return "Data";
    default:
      return "???";
  }
}

std::string FormatHexBytes(const uint8_t* bytes, int16_t count) {
  if (count < 1) return "[]";
  std::string out = "[";
  char buf[4];
  for (int i = 0; i < count; ++i) {
    if (i > 0) out.push_back(' ');
    std::snprintf(buf, sizeof buf, "%02X", bytes[i]);
    out += buf;
  }
  return out + "]";
}

std::string FormatControlChars(const uint8_t* bytes, int16_t count) {
  if (count < 1) return "[]";
  std::string out = "[";
  for (int i = 0; i < count; ++i) {
    uint8_t b = bytes[i];
    if (b >= 32 && b <= 126) {
      out.push_back(static_cast<char>(b));
      continue;
    }
    switch (b) {
      // "<NUL>" names byte 1 and "<OC1>" byte 17, as log readers know them.
      case 1:
        out += "<NUL>";
        break;
      case 2:
        out += "<STX>";
        break;
      case 3:
        out += "<ETX>";
        break;
      case 4:
        out += "<EOT>";
        break;
      case 5:
        out += "<ENQ>";
        break;
      case 6:
        out += "<ACK>";
        break;
      case 7:
        out += "<BEL>";
        break;
      case 8:
        out += "<BS>";
        break;
      case 9:
        out += "<HT>";
        break;
      case 10:
        out += "<LF>";
        break;
      case 11:
        out += "<VT>";
        break;
      case 12:
        out += "<FF>";
        break;
      case 13:
        out += "<CR>";
        break;
      case 17:
        out += "<OC1>";
        break;
      case 23:
        out += "<ETB>";
        break;
      case 27:
        out += "<ESC>";
        break;
      case 127:
        out += "<DEL>";
        break;
      default: {
        char buf[8];
        std::snprintf(buf, sizeof buf, "<%02X>", b);
        out += buf;
      }
    }
  }
  return out + "]";
}

uint8_t XorChecksum(const uint8_t* begin, const uint8_t* end) {
  uint8_t sum = 0;
  for (const uint8_t* p = begin; p != end; ++p) sum ^= *p;
  return sum;
}

std::string ChecksumText(uint8_t sum) {
  char buf[4];
  std::snprintf(buf, sizeof buf, "%02X", sum);
  return buf;
}

}  // namespace tavkelo
