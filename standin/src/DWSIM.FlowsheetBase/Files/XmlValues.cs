// Text forms of values in flowsheet files: invariant culture, doubles in the shortest form
// that reads back to the same bits (what .NET Core's "R" writes; Mono's "R" may add digits
// or get the last one wrong).
using System;
using System.Collections.Generic;
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
            long bits = BitConverter.DoubleToInt64Bits(v);
            int biased = (int)((bits >> 52) & 0x7FF);
            long mant = bits & 0xFFFFFFFFFFFFFL;
            if (biased != 0) mant |= 1L << 52;
            var exact = new ExactDecimal(mant, (biased == 0 ? 1 : biased) - 1075);
            // 15 digits always read back for normal doubles and shorter forms then show as trailing
            // zeros; subnormals carry fewer digits, so every length is tried for them.
            for (int n = biased == 0 ? 1 : 15; n <= 17; n++)
            {
                string s = exact.Rounded(n, v < 0);
                double back;
                if (n == 17 || double.TryParse(s, NumberStyles.Float, Inv, out back) && back == v) return Layout(s);
            }
            throw new InvalidOperationException("unreachable");
        }

        public static string Single(float v)
        {
            if (float.IsNaN(v)) return "NaN";
            if (float.IsPositiveInfinity(v)) return "Infinity";
            if (float.IsNegativeInfinity(v)) return "-Infinity";
            if (v == 0) return (1 / v) < 0 ? "-0" : "0";
            int bits = BitConverter.ToInt32(BitConverter.GetBytes(v), 0);
            int biased = (bits >> 23) & 0xFF;
            long mant = bits & 0x7FFFFF;
            if (biased != 0) mant |= 1L << 23;
            var exact = new ExactDecimal(mant, (biased == 0 ? 1 : biased) - 150);
            for (int n = biased == 0 ? 1 : 6; n <= 9; n++)
            {
                string s = exact.Rounded(n, v < 0);
                float back;
                if (n == 9 || float.TryParse(s, NumberStyles.Float, Inv, out back) && back == v) return Layout(s);
            }
            throw new InvalidOperationException("unreachable");
        }

        // The exact decimal value of mant * 2^exp2 (every binary fraction has a finite decimal
        // expansion). Mono formats only 17 correct digits and rounds from them, which can pick
        // the wrong last digit; rounding from the exact value gives what .NET Core writes.
        private class ExactDecimal
        {
            private readonly string _digits;   // no leading zeros
            private readonly int _exp10;       // decimal exponent of the first digit

            public ExactDecimal(long mant, int exp2)
            {
                var n = new List<uint> { (uint)(mant % 1000000000), (uint)(mant / 1000000000) };
                int shift = 0;
                if (exp2 >= 0) for (int i = 0; i < exp2; i++) Multiply(n, 2);
                else { for (int i = 0; i < -exp2; i++) Multiply(n, 5); shift = -exp2; }
                var sb = new StringBuilder();
                int top = n.Count - 1;
                while (top > 0 && n[top] == 0) top--;
                sb.Append(n[top].ToString(Inv));
                for (int i = top - 1; i >= 0; i--) sb.Append(n[i].ToString("000000000", Inv));
                string d = sb.ToString();
                _exp10 = d.Length - 1 - shift;
                _digits = d.TrimEnd('0');
            }

            private static void Multiply(List<uint> n, uint f)
            {
                ulong carry = 0;
                for (int i = 0; i < n.Count; i++)
                {
                    ulong x = (ulong)n[i] * f + carry;
                    n[i] = (uint)(x % 1000000000);
                    carry = x / 1000000000;
                }
                if (carry > 0) n.Add((uint)carry);
            }

            // n significant digits, rounded half to even, as "-d.dddE+x".
            public string Rounded(int n, bool negative)
            {
                var d = _digits.PadRight(n, '0').ToCharArray();
                int exp = _exp10;
                var kept = new StringBuilder(new string(d, 0, n));
                if (_digits.Length > n)
                {
                    char next = _digits[n];
                    bool rest = _digits.Length > n + 1;   // digits were trimmed: any remaining is nonzero
                    bool up = next > '5' || next == '5' && (rest || (kept[n - 1] - '0') % 2 == 1);
                    if (up)
                    {
                        int i = n - 1;
                        while (i >= 0 && kept[i] == '9') { kept[i] = '0'; i--; }
                        if (i >= 0) kept[i]++;
                        else { kept.Insert(0, '1'); kept.Length = n; exp++; }
                    }
                }
                string m = kept.ToString();
                return (negative ? "-" : "") + m[0] + (n > 1 ? "." + m.Substring(1) : "") + "E" + exp.ToString(Inv);
            }
        }

        // "-d.dddE+x" -> trailing zeros dropped; plain notation for 1e-4 <= |v| < 1e15, else
        // d.dddE+xx with a signed exponent of at least two digits.
        private static string Layout(string e)
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
            var t = text.Trim();
            if (!double.TryParse(t, NumberStyles.Float, Inv, out v)) return false;
            if (v == 0 && t.StartsWith("-")) v = -0.0;   // Mono's parser drops the sign of zero
            return true;
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
