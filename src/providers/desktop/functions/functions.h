// The functions, operators and the text order of the Jet SQL language, added to an engine connection. Their
// rules are those of the language run time: what an argument may be, how numbers round, which error is
// raised; an error ends the statement with the run time's text ("Type mismatch"). Pure but for the clock and
// the locale, which come from the platform's ports.
//
// Values are known by their storage class alone: a date is a number of days, a boolean 0 or -1, an exact
// number of more than 15 digits its digits in a blob. Where a text is made of a value, the type matters, so
// the one who knows a column's type writes the variant for it:
//
//   jet_text_date(x)      jet_cstr_date(x)      general date, "05/01/2015 14:07:33"
//   jet_text_bool(x)      jet_cstr_bool(x)      "True" or "False"
//   jet_text_currency(x)  jet_cstr_currency(x)  at most four decimals
//   jet_text_single(x)    jet_cstr_single(x)    seven digits
//   jet_text(x)           CStr(x)               anything else
//
// The first column lets null through (for jet_cat), the second refuses it as CStr does. Format with a pattern
// needs no hint; Format(d) alone is ifnull(jet_text_date(d), ''), IsDate(d) of a date column is -(d IS NOT
// NULL), IsNumeric of one is 0.
//
// Names the engine's grammar keeps for itself, and operators it lacks:
//
//   jet_left(s, n)  jet_right(s, n)  jet_isnull(x)
//   jet_cat(a, b)      a & b: null counts as empty text; null only when both are
//   jet_add(a, b)      a + b: two texts are joined, else numbers are added; null when either is
//   jet_div(a, b)      a / b with a fraction, also of whole numbers
//   jet_int_div(a, b)  a \ b: both rounded half to even first, the quotient cut
//   jet_mod(a, b)      a Mod b: both rounded half to even first, the sign of a
//   jet_power(a, b)    a ^ b
//
// A division by zero gives null, in all three forms, as the engine's own "/" does: one row with a zero must
// not end a whole report. IIf stays the engine's own iif, which evaluates only the branch it needs; Nz of two
// arguments is its ifnull, by the same reason. Min and Max stay its own as well: they find a column's ends in
// an index and know its collation. jet_min_exact and jet_max_exact are for DECIMAL and CURRENCY columns,
// where more than 15 digits may stand in a blob.
#pragma once

struct sqlite3;

namespace quarno::desktop {

/// Adds everything to a connection, once, before its first statement. Raises error 7 when the engine cannot.
void register_functions(sqlite3* database);

/// Name of the text order, for COLLATE clauses (see collation.h).
inline constexpr const char* kCollation = "JET";

}  // namespace quarno::desktop
