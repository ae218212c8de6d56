// Lee-Kesler enthalpy and entropy departures (Lee & Kesler, AIChE J. 21 (1975) 510), the
// enthalpy/entropy mode DWSIM's activity-coefficient packages use ("LeeKesler" in their saved
// settings). Mixtures through Lee-Kesler's pseudo-critical rules. A phase asks for its own
// root of the Lee-Kesler equation (smallest volume for a liquid, largest for a vapour); where
// the equation has a single root both get it.
using System;
using DWSIM.Thermodynamics.BaseClasses;

namespace DWSIM.Thermodynamics.PropertyPackages.Auxiliary.FlashAlgorithms
{
    public static class LeeKesler
    {
        private sealed class Fluid
        {
            public double b1, b2, b3, b4, c1, c2, c3, c4, d1, d2, beta, gamma;
        }

        private static readonly Fluid Simple = new Fluid
        {
            b1 = 0.1181193, b2 = 0.265728, b3 = 0.154790, b4 = 0.030323, c1 = 0.0236744, c2 = 0.0186984, c3 = 0.0,
            c4 = 0.042724, d1 = 0.155488e-4, d2 = 0.623689e-4, beta = 0.65392, gamma = 0.060167
        };

        private static readonly Fluid Reference = new Fluid
        {
            b1 = 0.2026579, b2 = 0.331511, b3 = 0.027655, b4 = 0.203488, c1 = 0.0313385, c2 = 0.0503618, c3 = 0.016901,
            c4 = 0.041577, d1 = 0.48736e-4, d2 = 0.0740336e-4, beta = 1.226, gamma = 0.03754
        };

        private const double OmegaRef = 0.3978;

        private static double Z(Fluid f, double tr, double vr)
        {
            double B = f.b1 - f.b2 / tr - f.b3 / (tr * tr) - f.b4 / (tr * tr * tr);
            double C = f.c1 - f.c2 / tr + f.c3 / (tr * tr * tr);
            double D = f.d1 + f.d2 / tr;
            double v2 = vr * vr;
            return 1 + B / vr + C / v2 + D / (v2 * v2 * vr)
                   + f.c4 / (tr * tr * tr * v2) * (f.beta + f.gamma / v2) * Math.Exp(-f.gamma / v2);
        }

        // Reduced volume of the requested root: scanned from the liquid side (small volumes) or
        // from the ideal-gas side, then refined by bisection/secant.
        private static double Volume(Fluid f, double tr, double pr, bool liquid)
        {
            Func<double, double> g = v => pr * v / tr - Z(f, tr, v);
            double a, b;
            if (liquid)
            {
                a = 0.005; double ga = g(a);
                b = a * 1.1; double gb = g(b);
                int k = 0;
                while (Math.Sign(ga) == Math.Sign(gb) && k++ < 400) { a = b; ga = gb; b *= 1.1; gb = g(b); }
            }
            else
            {
                b = Math.Max(tr / pr * 2, 1.0); double gb = g(b);
                a = b * 0.9; double ga = g(a);
                int k = 0;
                while (Math.Sign(ga) == Math.Sign(gb) && k++ < 400 && a > 1e-3) { b = a; gb = ga; a *= 0.9; ga = g(a); }
            }
            return MathOps.MathEx.Brent.FindRoot(g, a, b, 1e-13 * Math.Max(1.0, b));
        }

        // H - H_ig and S - S_ig(T, P) of one fluid, divided by R Tc and R.
        private static void Departures(Fluid f, double tr, double pr, bool liquid, out double h, out double s)
        {
            double vr = Volume(f, tr, pr, liquid);
            double z = pr * vr / tr;
            double v2 = vr * vr, v5 = v2 * v2 * vr;
            double E = f.c4 / (2 * tr * tr * tr * f.gamma) * (f.beta + 1 - (f.beta + 1 + f.gamma / v2) * Math.Exp(-f.gamma / v2));
            h = tr * (z - 1 - (f.b2 + 2 * f.b3 / tr + 3 * f.b4 / (tr * tr)) / (tr * vr)
                      - (f.c2 - 3 * f.c3 / (tr * tr)) / (2 * tr * v2) + f.d2 / (5 * tr * v5) + 3 * E);
            s = Math.Log(z) - (f.b1 + f.b3 / (tr * tr) + 2 * f.b4 / (tr * tr * tr)) / vr
                - (f.c1 - 2 * f.c3 / (tr * tr * tr)) / (2 * v2) - f.d1 / (5 * v5) + 2 * E;
        }

        // Pseudo-critical temperature, pressure and acentric factor of a mixture.
        private static void Pseudo(ConstantProperties[] c, double[] x, out double tcm, out double pcm, out double wm)
        {
            int n = c.Length;
            var v3 = new double[n];
            wm = 0;
            double sx = 0;
            for (int i = 0; i < n; i++)
            {
                if (x[i] <= 0) continue;
                double zc = 0.2905 - 0.085 * c[i].Acentric_Factor;
                v3[i] = Math.Pow(zc * PureProperties.R * c[i].Critical_Temperature / c[i].Critical_Pressure, 1.0 / 3.0);
                wm += x[i] * c[i].Acentric_Factor;
                sx += x[i];
            }
            double vcm = 0, tv = 0;
            for (int i = 0; i < n; i++)
            {
                if (x[i] <= 0) continue;
                for (int j = 0; j < n; j++)
                {
                    if (x[j] <= 0) continue;
                    double vij = Math.Pow(v3[i] + v3[j], 3) / 8 * x[i] * x[j];
                    vcm += vij;
                    tv += vij * Math.Sqrt(c[i].Critical_Temperature * c[j].Critical_Temperature);
                }
            }
            vcm /= sx * sx; tv /= sx * sx; wm /= sx;
            tcm = tv / vcm;
            pcm = (0.2905 - 0.085 * wm) * PureProperties.R * tcm / vcm;
        }

        // Enthalpy departure (J/mol) and entropy departure (J/(mol K)) of a phase.
        public static void Departure(ConstantProperties[] c, double[] x, double T, double P, bool liquid, out double hdep, out double sdep)
        {
            double tcm, pcm, wm;
            Pseudo(c, x, out tcm, out pcm, out wm);
            double tr = T / tcm, pr = P / pcm;
            double h0, s0, hr, sr;
            Departures(Simple, tr, pr, liquid, out h0, out s0);
            Departures(Reference, tr, pr, liquid, out hr, out sr);
            hdep = PureProperties.R * tcm * (h0 + wm / OmegaRef * (hr - h0));
            sdep = PureProperties.R * (s0 + wm / OmegaRef * (sr - s0));
        }
    }
}
