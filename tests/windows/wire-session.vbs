' wire-session.vbs: the scripted session of the COM wire test (com-wire-session.sh), the same
' calls as its HTTP half: Init and Connect on COM1, two seconds of polling, the equivalent weight
' written, DisConnect. Ends with "N passed, N failed".
Option Explicit
Dim k, passed, failed, started
passed = 0
failed = 0
Sub Check(ok, what)
  If ok And Err.Number = 0 Then
    passed = passed + 1
  Else
    failed = failed + 1
    WScript.Echo "FAIL " & what & " " & Err.Description
  End If
  Err.Clear
End Sub
On Error Resume Next
Set k = CreateObject("TavKeloASM.clsKeloInterface")
Check IsObject(k), "CreateObject"
k.Init True, 1, 9600, "N"
Check k.Connect(), "Connect"
started = Timer
Do While Timer - started < 2
Loop
Check k.SetSystemParameter(2, 3175.5) = 0, "SetSystemParameter"
k.DisConnect
Check Not k.Connected, "DisConnect"
Set k = Nothing
WScript.Echo passed & " passed, " & failed & " failed"
