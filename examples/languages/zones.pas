{ Free Pascal: the time zones that ten countries or more share. The same program as the others in this folder,
  late-bound: an OleVariant that holds an object takes any call, and looks the member up by its name.

      fpc -Px86_64 -Twin64 zones.pas
      zones.exe ..\data\zones.tab shared.txt

  The first file is read, the second one written. }
program zones;

{$mode objfpc}{$H+}

uses
  SysUtils, Variants, ActiveX, ComObj;

const
  Many = 10;
  Tab: UnicodeString = #9; { a Char, as ',' alone is, cannot be an argument }
  Comma: UnicodeString = ',';

type
  TVisit = procedure(const Element: OleVariant);

var
  F, Rows, Row, Codes, Names, Facts: OleVariant;
  Line: OleVariant;
  Written: Integer = 0;
  Found: Integer = 0;

{ Calls Visit for each element of a collection; for-in takes no OleVariant. }
procedure Each(const Collection: OleVariant; Visit: TVisit);
var
  Walk: IEnumVariant;
  Element: OleVariant;
  Fetched: LongWord;
begin
  Walk := IUnknown(Collection._NewEnum) as IEnumVariant;
  while Walk.Next(1, Element, Fetched) = S_OK do
  begin
    Visit(Element);
    Element := Unassigned; { Next overwrites what is in there, without clearing it }
  end;
end;

procedure CollectName(const Element: OleVariant);
begin
  Codes.Value := Element.Token(0);
  if Codes.Count >= Many then
    Names.Add(Element.Token(2));
end;

procedure PrintName(const Element: OleVariant);
begin
  WriteLn('  ', Element);
end;

procedure PrintFact(const Element: OleVariant);
begin
  WriteLn('fact: ', Element);
end;

procedure WriteName(const Element: OleVariant);
begin
  if F.WriteLine(Element) then
    Inc(Written);
end;

begin
  { Read: one row a line, split at tabs. }
  F := CreateOleObject('Nuvolex.NXFileStream');
  if not F.Open(ParamStr(1), False) then
  begin
    WriteLn('cannot open ', ParamStr(1));
    Halt(1);
  end;
  Rows := CreateOleObject('Nuvolex.NXTokenStringList');
  while not F.IsEOF do
  begin
    Line := F.ReadNextLine;
    if not F.IsCommentLine(Line) then { begins with "#", or is empty like the one after the last line end }
    begin
      Row := Rows.AddNew; { a new token string, which is in the list already }
      Row.Separator := Tab;
      Row.Value := Line;
    end;
  end;

  { Split the first column at commas, and collect the names in the third. }
  Codes := CreateOleObject('Nuvolex.NXTokenString');
  Codes.Separator := Comma;
  Names := CreateOleObject('Nuvolex.NXStringList');
  Each(Rows, @CollectName);
  WriteLn(Names.Count, ' of ', Rows.Count, ' zones are shared by ', Many, ' countries or more:');
  Each(Names, @PrintName);

  { A variant collection holds values of any type. }
  Facts := CreateOleObject('Nuvolex.NXVariantCollection');
  Facts.Add(Rows.Count);
  Facts.Add(Names.Item(0));
  Each(Facts, @PrintFact);

  { Indices count from 0, so this one is one too large. }
  try
    Line := Names.Item(Names.Count);
  except
    on E: EOleException do
      WriteLn('error 0x', HexStr(E.ErrorCode, 8), ': ', E.Message);
  end;

  { Write: Open opens existing files only, Clear creates one (or empties it). }
  if not F.Open(ParamStr(2), False) then
    WriteLn('a new file');
  F.Clear;
  F.Open(ParamStr(2), False);
  Each(Names, @WriteName);

  { Read back. The extra empty line after the last line end is not counted. }
  F.Open(ParamStr(2), False);
  while not F.IsEOF do
    if F.ReadNextLine <> '' then
      Inc(Found);
  F.Close;
  WriteLn(Written, ' lines written, ', Found, ' read back');
end.
