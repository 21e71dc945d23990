
' ---- Appended to every VBScript test by tests/scripts/run: the check functions and the last line.

Dim checks, failures

' The value must have this value; text must be text, numbers numbers.
Sub Equal(what, actual, expected)
    checks = checks + 1
    If (VarType(actual) = vbString) = (VarType(expected) = vbString) Then
        If actual = expected Then Exit Sub
    End If
    failures = failures + 1
    WScript.Echo "FAILED: " & what & ": " & TypeName(actual) & " [" & actual & "] instead of " & _
        TypeName(expected) & " [" & expected & "]"
End Sub

' Under On Error Resume Next: the previous statement must have raised this run-time error; 0: none.
Sub Raised(what, number)
    Dim actual : actual = Err.Number
    Err.Clear
    Equal what & ", error number", actual, number
End Sub

' The previous statement must have raised a run-time error; engines differ in the number.
Sub RaisedSomething(what)
    Dim actual : actual = Err.Number
    Err.Clear
    Equal what & " raises an error", actual <> 0, True
End Sub

If failures = 0 Then
    WScript.Echo checks & " checks passed"
Else
    WScript.Echo failures & " of " & checks & " checks failed"
End If
