// The stand-in's one thermodynamic model, used by every property package:
//  * K-values from Wilson's correlation, K = Pc/P exp(5.373 (1+w)(1-Tc/T)), composition-free;
//  * ideal-gas enthalpy from the Cp polynomial, reference ideal gas at 298.15 K;
//  * liquid enthalpy = ideal-gas enthalpy - heat of vaporisation (Watson from the value at Tb);
//  * liquid molar volume from Rackett with the Yamada-Gunn Z_RA estimate.
// Flashes: Rachford-Rice for PT, bracketed Brent on T for PH and P-VF.
using System;
using DWSIM.MathOps.MathEx;
using DWSIM.Thermodynamics.BaseClasses;

namespace DWSIM.Thermodynamics.PropertyPackages.Auxiliary.FlashAlgorithms
{
    public class PropertyDataException : Exception
    {
        public PropertyDataException(string compound) : base("no property data for " + compound) { }
    }

    public class FlashException : Exception
    {
        public FlashException(string message) : base(message) { }
    }

    public class FlashResult
    {
        public double T, P, VF;       // K, Pa, vapour mole fraction
        public double[] x, y;         // liquid and vapour mole fractions
        public double H;              // J/mol of mixture
    }

    public static class IdealFlash
    {
        public const double R = 8.314462618;
        public const double T0 = 298.15;
        public const double TMin = 30.0, TMax = 3000.0;

        public static void CheckData(ConstantProperties[] c, double[] z)
        {
            for (int i = 0; i < c.Length; i++)
                if (z[i] > 0 && !c[i].HasPropertyData) throw new PropertyDataException(c[i].Name);
        }

        public static double K(ConstantProperties c, double T, double P)
        {
            if (!c.HasPropertyData) return 1.0;
            return c.Critical_Pressure / P * Math.Exp(5.373 * (1 + c.Acentric_Factor) * (1 - c.Critical_Temperature / T));
        }

        public static double Hig(ConstantProperties c, double T)
        {
            if (!c.HasPropertyData) return 0.0;
            Func<double, double> prim = t => t * (c.IG_Cp_A + t * (c.IG_Cp_B / 2 + t * (c.IG_Cp_C / 3 + t * c.IG_Cp_D / 4)));
            return prim(T) - prim(T0);
        }

        // Integral of Cp/T from T0 to T (the temperature part of the ideal-gas entropy).
        public static double SigT(ConstantProperties c, double T)
        {
            if (!c.HasPropertyData) return 0.0;
            Func<double, double> prim = t => c.IG_Cp_A * Math.Log(t) + t * (c.IG_Cp_B + t * (c.IG_Cp_C / 2 + t * c.IG_Cp_D / 3));
            return prim(T) - prim(T0);
        }

        public static double HVap(ConstantProperties c, double T)
        {
            if (!c.HasPropertyData || T >= c.Critical_Temperature) return 0.0;
            double tc = c.Critical_Temperature;
            return c.HVap_At_NBP * Math.Pow((1 - T / tc) / (1 - c.Normal_Boiling_Point / tc), 0.38);
        }

        public static double HVapour(ConstantProperties[] c, double[] y, double T)
        {
            double h = 0;
            for (int i = 0; i < c.Length; i++) if (y[i] != 0) h += y[i] * Hig(c[i], T);
            return h;
        }

        public static double HLiquid(ConstantProperties[] c, double[] x, double T)
        {
            double h = 0;
            for (int i = 0; i < c.Length; i++) if (x[i] != 0) h += x[i] * (Hig(c[i], T) - HVap(c[i], T));
            return h;
        }

        // m3/mol, Rackett with Z_RA = 0.29056 - 0.08775 w.
        public static double LiquidMolarVolume(ConstantProperties[] c, double[] x, double T)
        {
            double v = 0;
            for (int i = 0; i < c.Length; i++)
            {
                if (x[i] == 0 || !c[i].HasPropertyData) continue;
                double tr = Math.Min(T / c[i].Critical_Temperature, 0.99);
                double zra = 0.29056 - 0.08775 * c[i].Acentric_Factor;
                v += x[i] * R * c[i].Critical_Temperature / c[i].Critical_Pressure * Math.Pow(zra, 1 + Math.Pow(1 - tr, 2.0 / 7.0));
            }
            return v;
        }

        // Splits the feed at a given vapour fraction; component amounts are conserved exactly.
        private static FlashResult Split(ConstantProperties[] c, double[] z, double T, double P, double beta, double[] k)
        {
            int n = z.Length;
            var r = new FlashResult { T = T, P = P, x = new double[n], y = new double[n] };
            if (beta <= 0 || beta >= 1)
            {
                Array.Copy(z, r.x, n); Array.Copy(z, r.y, n);
                r.VF = beta <= 0 ? 0 : 1;
            }
            else
            {
                double vs = 0, ls = 0;
                var v = new double[n]; var l = new double[n];
                for (int i = 0; i < n; i++)
                {
                    v[i] = z[i] * beta * k[i] / (1 + beta * (k[i] - 1));
                    l[i] = z[i] - v[i];
                    vs += v[i]; ls += l[i];
                }
                for (int i = 0; i < n; i++) { r.y[i] = v[i] / vs; r.x[i] = l[i] / ls; }
                r.VF = vs / (vs + ls);
            }
            r.H = r.VF * HVapour(c, r.y, T) + (1 - r.VF) * HLiquid(c, r.x, T);
            return r;
        }

        private static double[] Ks(ConstantProperties[] c, double T, double P)
        {
            var k = new double[c.Length];
            for (int i = 0; i < c.Length; i++) k[i] = K(c[i], T, P);
            return k;
        }

        public static FlashResult PT(ConstantProperties[] c, double[] z, double T, double P)
        {
            CheckData(c, z);
            var k = Ks(c, T, P);
            double sk = 0, sik = 0;
            for (int i = 0; i < z.Length; i++) { sk += z[i] * k[i]; sik += z[i] / k[i]; }
            double beta;
            if (sk <= 1) beta = 0;
            else if (sik <= 1) beta = 1;
            else
            {
                Func<double, double> rr = b =>
                {
                    double s = 0;
                    for (int i = 0; i < z.Length; i++) s += z[i] * (k[i] - 1) / (1 + b * (k[i] - 1));
                    return s;
                };
                beta = Brent.FindRoot(rr, 0, 1, 1e-14);
            }
            return Split(c, z, T, P, beta, k);
        }

        public static FlashResult PH(ConstantProperties[] c, double[] z, double P, double H, double Tguess)
        {
            CheckData(c, z);
            Func<double, double> f = t => PT(c, z, t, P).H - H;
            double lo, hi;
            if (!Brent.Bracket(f, Clamp(Tguess), 20, TMin, TMax, out lo, out hi))
                throw new FlashException(string.Format("PH flash did not converge (P = {0:G6} Pa, H = {1:G6} J/mol)", P, H));
            double T = Brent.FindRoot(f, lo, hi, 1e-9);
            var r = PT(c, z, T, P);
            double tol = 1e-6 * Math.Max(1.0, Math.Abs(H));
            if (Math.Abs(r.H - H) <= tol) return r;
            // At a (near) pure-component boiling point H jumps with T: split at that T instead.
            var k = Ks(c, T, P);
            Func<double, double> g = b => Split(c, z, T, P, b, k).H - H;
            double g0 = g(1e-12), g1 = g(1 - 1e-12);
            if (Math.Sign(g0) == Math.Sign(g1))
                throw new FlashException(string.Format("PH flash did not converge (P = {0:G6} Pa, H = {1:G6} J/mol)", P, H));
            double beta = Brent.FindRoot(g, 1e-12, 1 - 1e-12, 1e-14);
            return Split(c, z, T, P, beta, k);
        }

        public static FlashResult PVF(ConstantProperties[] c, double[] z, double P, double VF, double Tguess)
        {
            CheckData(c, z);
            if (VF < 0 || VF > 1) throw new FlashException("vapour fraction must be between 0 and 1, got " + VF);
            Func<double, double> g = t =>
            {
                var k = Ks(c, t, P);
                double s = 0;
                for (int i = 0; i < z.Length; i++)
                {
                    if (VF == 1) s += z[i] / k[i];
                    else s += z[i] * (k[i] - 1) / (1 + VF * (k[i] - 1));
                }
                return VF == 1 ? 1 - s : s;
            };
            double lo, hi;
            if (!Brent.Bracket(g, Clamp(Tguess), 20, TMin, TMax, out lo, out hi))
                throw new FlashException(string.Format("P-VF flash did not converge (P = {0:G6} Pa, VF = {1})", P, VF));
            double T = Brent.FindRoot(g, lo, hi, 1e-9);
            return Split(c, z, T, P, VF, Ks(c, T, P));
        }

        // Outlet temperature of an ideal-gas isentropic change of pressure.
        public static double IsentropicT(ConstantProperties[] c, double[] z, double T1, double P1, double P2)
        {
            CheckData(c, z);
            Func<double, double> s = t =>
            {
                double v = 0;
                for (int i = 0; i < c.Length; i++) if (z[i] != 0) v += z[i] * SigT(c[i], t);
                return v;
            };
            double target = s(T1) + R * Math.Log(P2 / P1);
            Func<double, double> f = t => s(t) - target;
            double lo, hi;
            if (!Brent.Bracket(f, T1, 20, TMin, TMax, out lo, out hi))
                throw new FlashException("isentropic temperature not found");
            return Brent.FindRoot(f, lo, hi, 1e-9);
        }

        private static double Clamp(double t)
        {
            if (double.IsNaN(t)) return T0;
            return Math.Min(TMax - 1, Math.Max(TMin + 1, t));
        }
    }
}
