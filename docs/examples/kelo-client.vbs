' kelo-client.vbs: an inspection program's use of TavKeloASM through COM, late-bound as such
' programs are written. It creates the object, connects on COM1 (or the port given), reads
' properties of each type, raises and lowers the lifts, sets test parameters, runs a warm-up and a
' coastdown to completion and reads their results, reads by-reference results, names every error
' constant, and ends with its own "N passed, N failed" line.
'   cscript kelo-client.vbs [PORT]
Option Explicit

Dim passed, failed, port, k, ok
passed = 0
failed = 0
port = 1
If WScript.Arguments.Count > 0 Then port = CInt(WScript.Arguments(0))

' Each check is written "ok = False : ok = <condition> : Check ok, <what>": a call that raises
' leaves ok False, and the error's text goes with the failure.
Sub Check(result, what)
  If result And Err.Number = 0 Then
    passed = passed + 1
  Else
    failed = failed + 1
    If Err.Number <> 0 Then what = what & " (error " & Err.Number & ": " & Err.Description & ")"
    WScript.Echo "FAIL " & what
  End If
  Err.Clear
End Sub

' Polls the test state as the interface asks clients to: CurTest back to 0, then the status.
Function RunTest(index, seconds)
  Dim started
  started = Timer
  RunTest = -1
  If k.StartTest(index) <> 0 Then Exit Function
  ' wine's cscript has no WScript.Sleep: the loop reads the state without a pause.
  Do While k.CurTest <> 0 And Timer - started < seconds
  Loop
  RunTest = k.LastTestCompletionStatus
  WScript.Echo "test " & index & ": status " & RunTest & " after " & Round(Timer - started) & " s"
End Function

' wine's cscript reports nothing of a run-time error: each step checks Err itself.
On Error Resume Next
Set k = CreateObject("TavKeloASM.clsKeloInterface")
Check Err.Number = 0, "CreateObject: " & Err.Description
If Err.Number <> 0 Then
  WScript.Echo passed & " passed, " & failed & " failed"
  WScript.Quit 1
End If

k.Init True, port, 9600, "N"
ok = False : ok = k.Connect() : Check ok, "Connect"
ok = False : ok = k.Connected : Check ok, "Connected"

' One property of each automation type.
ok = False : ok = TypeName(k.SerialPort) = "Integer" And k.SerialPort = port : Check ok, "SerialPort (Integer)"
ok = False : ok = TypeName(k.BaudRate) = "Long" And k.BaudRate = 9600 : Check ok, "BaudRate (Long)"
ok = False : ok = TypeName(k.Parity) = "String" And k.Parity = "N" : Check ok, "Parity (String)"
ok = False : ok = TypeName(k.Connected) = "Boolean" : Check ok, "Connected (Boolean)"
ok = False : ok = TypeName(k.PrimarySpeedMPH) = "Single" : Check ok, "PrimarySpeedMPH (Single)"
ok = False : ok = TypeName(k.ASMTestMode) = "Byte" : Check ok, "ASMTestMode (Byte)"
ok = False : ok = TypeName(k.CurTest) = "Long" : Check ok, "CurTest (an enumeration, Long)"

' Commands and settings.
ok = False : ok = k.RaiseLifts(True, False) = 0 : Check ok, "RaiseLifts"
ok = False : ok = k.LowerLifts(True, False) = 0 : Check ok, "LowerLifts"
k.AutoUpdateEnabled = False
ok = False : ok = k.AutoUpdateEnabled = False : Check ok, "AutoUpdateEnabled put"
k.AutoUpdateEnabled = True
ok = False : ok = k.SetWarmupTestParameters(10) = 0 : Check ok, "SetWarmupTestParameters"
ok = False : ok = k.WarmupTestTimeSeconds = 10 : Check ok, "WarmupTestTimeSeconds"
ok = False : ok = k.SetWarmupTestParameters(5) <> 0 : Check ok, "SetWarmupTestParameters refuses 5 s"
ok = False : ok = k.SetCoastdownTestParameters(20, 16, 20, 16, 12, 15) = 0 : Check ok, "SetCoastdownTestParameters"

' A warm-up and a coastdown, each to completion (status 3).
ok = False : ok = RunTest(1, 60) = 3 : Check ok, "warm-up completed"
ok = False : ok = RunTest(3, 120) = 3 : Check ok, "coastdown completed"
ok = False : ok = k.GetLastCoastdownTestResults() = 0 : Check ok, "GetLastCoastdownTestResults"
ok = False : ok = k.CDTestTopWindowActualTime > 0 : Check ok, "top window coast time " & k.CDTestTopWindowActualTime
ok = False : ok = k.CDTestBottomWindowActualTime > 0 : Check ok, "bottom window coast time " & k.CDTestBottomWindowActualTime

' By-reference results come back into the script's variables.
Dim twd, fwd, twdUnseen, fwdUnseen, zero, posSpan, negSpan
ok = False : ok = k.GetParasiticsAtSpeed(15, twd, fwd, twdUnseen, fwdUnseen) = 0 : Check ok, "GetParasiticsAtSpeed"
ok = False : ok = TypeName(twd) = "Single" And TypeName(fwdUnseen) = "Single" : Check ok, "parasitics by reference"
Dim result
result = -1 : result = k.GetAnalogInputCalibration(3, zero, posSpan, negSpan)
' The analog-input calibration is kept by the controller, not the interface: the call answers
' gQRTXErrUnknownCommand (1), and the references come back as Singles all the same.
Check result = 1, "GetAnalogInputCalibration: " & result
ok = False : ok = TypeName(zero) = "Single" And TypeName(negSpan) = "Single" : Check ok, "calibration by reference: " & TypeName(zero)

' Every error constant has its text.
Dim e
For Each e In Array(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 200, 201, 202)
  ok = False : ok = Len(k.ErrorConstantToString(e)) > 0 : Check ok, "ErrorConstantToString(" & e & ")"
Next

k.DisConnect
ok = False : ok = Not k.Connected : Check ok, "DisConnect"
Set k = Nothing
WScript.Echo passed & " passed, " & failed & " failed"
