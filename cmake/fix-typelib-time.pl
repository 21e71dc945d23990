# Replaces the build time that widl writes into a type library by a fixed one, so that the same sources always give
# the same bytes. Usage: perl fix-typelib-time.pl FILE
#
# widl notes the time twice in the library's custom data: as text, and behind it as a 32-bit number (VT_UI4, 0x13)
# padded with "WW".
use strict;
use warnings;

my ($path) = @ARGV;
open(my $in, '<:raw', $path) or die "$path: $!\n";
my $bytes = do { local $/; <$in> };
close($in);

my $text = $bytes =~ s/( at )\w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4}(\n)/$1Thu Jan  1 00:00:00 1970$2/;
my $number = $bytes =~ s/(\nWW\x13\x00)....(WW)/$1\0\0\0\0$2/s;
die "$path: no build time found where widl writes it\n" unless $text && $number;

open(my $out, '>:raw', $path) or die "$path: $!\n";
print {$out} $bytes or die "$path: $!\n";
close($out) or die "$path: $!\n";
