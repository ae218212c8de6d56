// Text forms of values in flowsheet files: invariant culture, doubles in the shortest form
// that reads back to the same bits (what .NET Core's "R" writes; Mono's "R" may add digits).
using System;
using System.Globalization;
using System.Text;

namespace DWSIM.FlowsheetBase.Files
{
    public static class XmlValues
    {
        private static readonly CultureInfo Inv = CultureInfo.InvariantCulture;

        public static string Double(double v)
        {
            if (double.IsNaN(v)) return "NaN";
            if (double.IsPositiveInfinity(v)) return "Infinity";
            if (double.IsNegativeInfinity(v)) return "-Infinity";
            if (v == 0) return (1 / v) < 0 ? "-0" : "0";
            for (int digits = 15; digits <= 17; digits++)
            {
                string e = v.ToString("E" + (digits - 1), Inv);
                if (digits == 17 || double.Parse(e, NumberStyles.Float, Inv) == v) return Shortest(e);
            }
            throw new InvalidOperationException("unreachable");
        }

        public static string Single(float v)
        {
            if (float.IsNaN(v)) return "NaN";
            if (float.IsPositiveInfinity(v)) return "Infinity";
            if (float.IsNegativeInfinity(v)) return "-Infinity";
            if (v == 0) return (1 / v) < 0 ? "-0" : "0";
            for (int digits = 6; digits <= 9; digits++)
            {
                string e = v.ToString("E" + (digits - 1), Inv);
                if (digits == 9 || float.Parse(e, NumberStyles.Float, Inv) == v) return Shortest(e);
            }
            throw new InvalidOperationException("unreachable");
        }

        // "-d.dddE+xxx" -> trailing zeros dropped; plain notation for 1e-4 <= |v| < 1e15, else
        // d.dddE+xx with a signed exponent of at least two digits.
        private static string Shortest(string e)
        {
            int ePos = e.IndexOf('E');
            bool neg = e[0] == '-';
            string mant = e.Substring(neg ? 1 : 0, ePos - (neg ? 1 : 0)).Replace(".", "");
            int exp = int.Parse(e.Substring(ePos + 1), NumberStyles.AllowLeadingSign, Inv);
            mant = mant.TrimEnd('0');
            if (mant.Length == 0) mant = "0";
            var sb = new StringBuilder();
            if (neg) sb.Append('-');
            if (exp < -4 || exp >= 15)
            {
                sb.Append(mant[0]);
                if (mant.Length > 1) sb.Append('.').Append(mant, 1, mant.Length - 1);
                sb.Append('E').Append(exp < 0 ? '-' : '+').Append(Math.Abs(exp).ToString("00", Inv));
            }
            else if (exp < 0)
            {
                sb.Append("0.").Append('0', -exp - 1).Append(mant);
            }
            else if (mant.Length <= exp + 1)
            {
                sb.Append(mant).Append('0', exp + 1 - mant.Length);
            }
            else
            {
                sb.Append(mant, 0, exp + 1).Append('.').Append(mant, exp + 1, mant.Length - exp - 1);
            }
            return sb.ToString();
        }

        public static string Bool(bool v) { return v ? "true" : "false"; }

        // Connector flags are written capitalised by DWSIM (pre-formatted strings).
        public static string BoolCapitalised(bool v) { return v ? "True" : "False"; }

        public static string Int(long v) { return v.ToString(Inv); }

        public static bool TryDouble(string text, out double v)
        {
            return double.TryParse(text.Trim(), NumberStyles.Float, Inv, out v);
        }

        public static bool TrySingle(string text, out float v)
        {
            return float.TryParse(text.Trim(), NumberStyles.Float, Inv, out v);
        }

        // Booleans are read case-insensitively; numbers count too (0 = false), as DWSIM does.
        public static bool TryBool(string text, out bool v)
        {
            var t = text.Trim();
            if (bool.TryParse(t, out v)) return true;
            double d;
            if (TryDouble(t, out d)) { v = d != 0; return true; }
            return false;
        }
    }
}
