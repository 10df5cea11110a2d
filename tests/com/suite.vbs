' The library as a script client reaches it: objects created by ProgID, a trace read,
' edited, written and read again, collections walked with For Each, the global objects,
' by-reference results, and the library's errors as Err shows them.
' Usage: cscript //nologo suite.vbs SAMPLE.sor WORK_FOLDER
' Prints one line per failed check and, last, "N passed, M failed".
Option Explicit

Dim passed, failed
passed = 0
failed = 0

Sub Check(name, condition)
  If condition Then
    passed = passed + 1
  Else
    failed = failed + 1
    WScript.Echo "FAILED: " & name
  End If
End Sub

' Checks the error a statement raised; the caller passes Err's fields as they were right
' after the statement (under On Error Resume Next) and clears Err itself.
Sub Expect(name, n, s, d, number, source, description)
  Check name & ": number " & n, n = number
  If source <> "" Then Check name & ": source " & s, s = source
  If description <> "" Then Check name & ": description " & d, d = description
End Sub

Dim sample, work
sample = WScript.Arguments(0)
work = WScript.Arguments(1)

Dim global, analyze, files, trace, again
Set global = CreateObject("Tarnvik.CGlobal")
global.InitializeTraceDLLErrors work & "\tarnvik.log"
Set analyze = CreateObject("Tarnvik.CAnalyze")
Set files = CreateObject("Tarnvik.CFileOperations")

' Reading, with the optional arguments left out and given.
Set trace = files.ReadTrace(sample)
Check "samples read", trace.Samples = 8000
Check "cable", trace.CableID = "TRV-A-0144"
Check "wavelength", trace.NominalWavelength = 1310
Check "sample is a Long", VarType(trace.DataPoints(1)) = vbLong
Check "not dirty after reading", Not trace.IsDirty
Set again = files.ReadTrace(sample, True, False)
Check "kept SOR file", files.SORFiles.Count = 1
Check "kept SOR file by position", files.SORFiles(1).FileName = files.SORFiles.Item(1).FileName

' Identity: the same object twice is the same COM object.
Check "Events is the same object", trace.Events Is trace.Events
Check "an item is the same object", trace.Events(1) Is trace.Events.Item(1)
Check "different traces differ", Not (trace Is again)

' Properties: a 16-bit literal reaches a Long, a Double reaches a Single, text converts.
trace.FiberNumber = 12
Check "fiber number", trace.FiberNumber = 12
Check "dirty after an edit", trace.IsDirty
trace.FiberNumber = "13"
Check "text that converts", trace.FiberNumber = 13
trace.ReflectanceThreshold = -40.5
Check "threshold", trace.ReflectanceThreshold = -40.5
trace.ReflectanceThreshold = 0
trace.CursorQRD(1) = 1000
Check "indexed property", trace.CursorQRD(1) = 1000
Check "enumerated distance units", trace.DistanceUnits >= 1

' Events: walked with For Each and by position, edited, added.
Dim e, count, lastLocation, ordered
count = 0
ordered = True
lastLocation = -1
For Each e In trace.Events
  count = count + 1
  If e.LocationQRD < lastLocation Then ordered = False
  lastLocation = e.LocationQRD
Next
Check "For Each walks every event", count = trace.Events.Count And count > 0
Check "events in order", ordered
trace.Events(1).Comment = "edited from a script"
Check "event edit", trace.Events(1).Comment = "edited from a script"
Dim before, added
before = trace.Events.Count
added = trace.AddEvent(5000, 5000, 100, 1, 1, 3, 0, CLng(trace.QRDToPower(5000)), "added")
Check "AddEvent adds", trace.Events.Count = before + 1
Check "AddEvent numbers", trace.Events(added).Comment = "added"
' A new event's attenuation is unknown (9999 dB/km), more than the file can hold.
On Error Resume Next
files.WriteTrace trace, work & "\edited.sor", 7, 1, 2, 3
Expect "unwritable attenuation", Err.Number, Err.Source, Err.Description, 6, "CFileOperations:WriteTrace()", "Overflow"
Err.Clear
On Error GoTo 0
trace.Events(added).AttenDBperKM = 0.35

' Writing and reading back.
Dim written
files.WriteTrace trace, work & "\edited.sor", 7, 1, 2, 3
Set written = files.ReadTrace(work & "\edited.sor")
Check "written fiber number", written.FiberNumber = 13
Check "written events", written.Events.Count = trace.Events.Count
Check "written samples", written.DataPoints(4000) = trace.DataPoints(4000)
Check "stamped by", trace.LastChangedBy = 7
files.WriteTrace trace, work & "\edited.trc", 7, 1, 2, 3, False, False
Set written = files.ReadTrace(work & "\edited.trc")
Check "own format keeps the comments", written.Events(1).Comment = "added" And _
  written.Events(2).Comment = "edited from a script"

' Analysis through the global object, with by-reference results.
Dim slope, intercept, status, level, loss
slope = 7
status = analyze.LeastSquares(trace, 10, 10, slope, intercept)
Check "one sample: status 2", status = 2
Check "one sample: slope untouched", slope = 7
status = analyze.LeastSquares(trace, 100, 2000, slope, intercept)
Check "fit: status 0", status = 0
Check "fit: slope written as a Double", VarType(slope) = vbDouble And slope <> 7
Check "fit: intercept written", VarType(intercept) = vbDouble
level = 0
loss = analyze.ComputeLoss(trace, 800, 16000, 400, 24000, 1, level)
Check "two-point loss level", level = analyze.QPointToPower(800, trace)
Check "two-point loss", loss = analyze.QPointToPower(16000, trace) - level

' Collections of traces: Add, key, For Each, Remove.
Dim traces, t
Set traces = CreateObject("Tarnvik.CTraces")
traces.Add trace, "first"
traces.Add again
Check "trace by key", traces("first") Is trace
count = 0
For Each t In traces
  count = count + 1
Next
Check "For Each over traces", count = 2
traces.Remove "first"
Check "removed by key", traces.Count = 1 And traces(1) Is again

' Byte arrays: a script's array of numbers converts, and comes back as bytes.
Dim crc, raw, buffer
Set crc = CreateObject("Tarnvik.CCRC")
Check "CRC over a script array", crc.CRCUpdate(Array(49, 50, 51)) = 23502
Check "CRC value kept", crc.Value = 23502
Set raw = CreateObject("Tarnvik.CBlock")
raw.SetRawData Array(49, 50, 51)
raw.GetRawData buffer
Check "bytes back: " & VarType(buffer), VarType(buffer) = vbArray + vbByte
' (Wine's VBScript stops the script on LBound or UBound of a byte array: the bounds are
' checked by the compiled client.)
Set crc = CreateObject("Tarnvik.CCRC")
Check "bytes back unchanged", crc.CRCUpdate(buffer) = 23502

' Errors as the library raises them: Err shows the library's number, source and text.
On Error Resume Next
trace.ReflectanceThreshold = 0.5
Expect "threshold out of range", Err.Number, Err.Source, Err.Description, 5, "CTrace:Let ReflectanceThreshold()", _
  "Reflectance Threshold must be between 0 and -65.535. ""0.5"" is not allowed."
Err.Clear
Set written = files.ReadTrace(work & "\missing.sor")
Expect "missing file", Err.Number, Err.Source, Err.Description, 53, "CFileOperations:ReadTrace()", "File not found"
Err.Clear
trace.Events(999).Comment = "x"
Expect "index past the end", Err.Number, Err.Source, Err.Description, 9, "CEvents:Get Item()", "Subscript out of range"
Err.Clear
Set t = traces.Item("nothing")
Expect "no such key", Err.Number, Err.Source, Err.Description, 5, "CTraces:Get Item()", ""
Err.Clear
' The automation layer refuses an object of another class before the library is called:
' Wine's reports "Class doesn't support Automation" (430), Windows' a type mismatch (13).
level = analyze.QPointToPower(8, traces)
Check "another class's object: " & Err.Number, Err.Number = 430 Or Err.Number = 13
Err.Clear
On Error GoTo 0

WScript.Echo passed & " passed, " & failed & " failed"
