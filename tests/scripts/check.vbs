
' ---- Appended to every VBScript test by tests/scripts/run: what the tests check with, and their last line.

Dim checks, failures

' The value must be this one: text as text, a number as a number.
Sub Equal(what, actual, expected)
    checks = checks + 1
    If (VarType(actual) = vbString) = (VarType(expected) = vbString) Then
        If actual = expected Then Exit Sub
    End If
    failures = failures + 1
    WScript.Echo "FAILED: " & what & ": " & TypeName(actual) & " [" & actual & "] instead of " & _
        TypeName(expected) & " [" & expected & "]"
End Sub

' The statement before must have raised this run-time error, or none if it is 0. Under On Error Resume Next.
Sub Raised(what, number)
    Dim actual : actual = Err.Number
    Err.Clear
    Equal what & ", error number", actual, number
End Sub

' The statement before must have raised some run-time error; engines differ in its number.
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
