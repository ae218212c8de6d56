// What a property package computes for one phase: fugacity coefficients, and enthalpy and
// entropy departures from the ideal gas. The flash routines (Flash.cs) work only through this.
using System;
using System.Collections.Generic;
using DWSIM.Thermodynamics.BaseClasses;

namespace DWSIM.Thermodynamics.PropertyPackages.Auxiliary.FlashAlgorithms
{
    public abstract class PhaseModel
    {
        public readonly ConstantProperties[] C;
        public readonly int N;

        protected PhaseModel(ConstantProperties[] c) { C = c; N = c.Length; }

        // ln of the fugacity coefficients of a liquid or a vapour of composition x.
        public abstract void LnPhi(double T, double P, double[] x, bool liquid, double[] lnphi);

        // H - H_ig(T) in J/mol and S - S_ig(T, P) in J/(mol K).
        public abstract void Departure(double T, double P, double[] x, bool liquid, out double h, out double s);

        // Whether a single phase that both branches describe alike (one root of an equation of
        // state) is a liquid.
        public virtual bool LiquidLike(double T, double P, double[] x) { return false; }

        public double H(double T, double P, double[] x, bool liquid)
        {
            double h = 0, hd, sd;
            for (int i = 0; i < N; i++) if (x[i] != 0) h += x[i] * PureProperties.Hig(C[i], T);
            Departure(T, P, x, liquid, out hd, out sd);
            return h + hd;
        }

        public double S(double T, double P, double[] x, bool liquid)
        {
            double s = -PureProperties.R * Math.Log(P / PureProperties.P0), hd, sd;
            for (int i = 0; i < N; i++)
                if (x[i] > 0) s += x[i] * (PureProperties.SigT(C[i], T) - PureProperties.R * Math.Log(x[i]));
            Departure(T, P, x, liquid, out hd, out sd);
            return s + sd;
        }
    }

    // Ideal vapour and a liquid of activity coefficients: f_i = x_i gamma_i Psat_i (modified
    // Raoult). Enthalpy and entropy from Lee-Kesler departures.
    public class ActivityModel : PhaseModel
    {
        private readonly Func<double, double[], double[]> _lnGamma;

        // lnGamma(T, x) -> ln gamma; null for an ideal solution.
        public ActivityModel(ConstantProperties[] c, Func<double, double[], double[]> lnGamma) : base(c) { _lnGamma = lnGamma; }

        public override void LnPhi(double T, double P, double[] x, bool liquid, double[] lnphi)
        {
            if (!liquid) { for (int i = 0; i < N; i++) lnphi[i] = 0; return; }
            var g = _lnGamma != null ? _lnGamma(T, x) : null;
            double lp = Math.Log(P);
            for (int i = 0; i < N; i++) lnphi[i] = PureProperties.LnPsat(C[i], T) - lp + (g != null ? g[i] : 0);
        }

        public override void Departure(double T, double P, double[] x, bool liquid, out double h, out double s)
        {
            LeeKesler.Departure(C, x, T, P, liquid, out h, out s);
        }
    }

    // Multicomponent NRTL with DWSIM's record rules; matrices are taken from the table once per
    // calculation (ParametersFor), tau = (A + B T + C T^2) / (1.98721 T), G = exp(-alpha tau).
    public sealed class NrtlParameters
    {
        public double[,] A, B, Cc, Alpha;
        public bool[,] Missing;
        public string[] Names;

        public static NrtlParameters From(Dictionary<string, Dictionary<string, NRTL_IPData>> table, ConstantProperties[] c)
        {
            int n = c.Length;
            var p = new NrtlParameters
            {
                A = new double[n, n], B = new double[n, n], Cc = new double[n, n], Alpha = new double[n, n],
                Missing = new bool[n, n], Names = new string[n]
            };
            for (int i = 0; i < n; i++) p.Names[i] = c[i].Name;
            for (int i = 0; i < n; i++)
                for (int j = 0; j < n; j++)
                {
                    Dictionary<string, NRTL_IPData> row;
                    NRTL_IPData d;
                    bool found = false, swapped = false;
                    d = null;
                    if (table.TryGetValue(c[i].Name, out row) && row.TryGetValue(c[j].Name, out d)) found = true;
                    else if (table.TryGetValue(c[j].Name, out row) && row.TryGetValue(c[i].Name, out d)) { found = true; swapped = true; }
                    if (!found) { p.Missing[i, j] = true; continue; }
                    p.A[i, j] = swapped ? d.A21 : d.A12;
                    p.B[i, j] = swapped ? d.B21 : d.B12;
                    p.Cc[i, j] = swapped ? d.C21 : d.C12;
                    p.Alpha[i, j] = d.alpha12;
                    p.Missing[i, j] = d.A12 + d.A21 + d.B12 + d.B21 + d.C12 + d.C21 + d.alpha12 == 0;
                }
            return p;
        }

        public void CheckMissing(double[] x)
        {
            int n = Names.Length;
            for (int i = 0; i < n; i++)
                for (int j = 0; j < n; j++)
                    if (i != j && x[i] * x[j] > 0 && Missing[i, j])
                        throw new FlashException(string.Format("NRTL error: missing interaction parameters for binary pair {0}/{1}.", Names[i], Names[j]));
        }

        public double[] LnGamma(double T, double[] x)
        {
            int n = Names.Length;
            var tau = new double[n, n];
            var G = new double[n, n];
            for (int i = 0; i < n; i++)
                for (int j = 0; j < n; j++)
                {
                    tau[i, j] = (A[i, j] + B[i, j] * T + Cc[i, j] * T * T) / (1.98721 * T);
                    G[i, j] = Math.Exp(-Alpha[i, j] * tau[i, j]);
                }
            // S_j = sum_k x_k G_kj, Q_j = sum_m x_m tau_mj G_mj
            var S = new double[n];
            var Q = new double[n];
            for (int j = 0; j < n; j++)
                for (int k = 0; k < n; k++) { S[j] += x[k] * G[k, j]; Q[j] += x[k] * tau[k, j] * G[k, j]; }
            var lng = new double[n];
            for (int i = 0; i < n; i++)
            {
                double v = Q[i] / S[i];
                for (int j = 0; j < n; j++) v += x[j] * G[i, j] / S[j] * (tau[i, j] - Q[j] / S[j]);
                lng[i] = v;
            }
            return lng;
        }
    }

    // Peng-Robinson (u = 2, w = -1) and Soave-Redlich-Kwong (u = 1, w = 0) with the van der
    // Waals mixing rule: a_ij = sqrt(a_i a_j)(1 - K[i][j]), K as the package built it (not
    // necessarily symmetric); the fugacity term of component i uses column i (sum_j x_j a_ji).
    public class CubicModel : PhaseModel
    {
        private readonly bool _pr;
        private readonly double[,] _k;
        private readonly double _u, _w, _delta, _oa, _ob, _vbCritical;
        private readonly double[] _ac, _m, _b;
        private double _tCached = double.NaN;
        private double[] _a, _da;

        public CubicModel(ConstantProperties[] c, double[,] kij, bool pengRobinson) : base(c)
        {
            _pr = pengRobinson; _k = kij;
            _u = _pr ? 2 : 1; _w = _pr ? -1 : 0; _delta = Math.Sqrt(_u * _u - 4 * _w);
            _oa = _pr ? 0.45724 : 0.42748; _ob = _pr ? 0.07780 : 0.08664;
            _vbCritical = _pr ? 0.3074 / 0.07780 : (1.0 / 3.0) / 0.08664;
            _ac = new double[N]; _m = new double[N]; _b = new double[N];
            for (int i = 0; i < N; i++)
            {
                double tc = C[i].Critical_Temperature, pc = C[i].Critical_Pressure, w = C[i].Acentric_Factor;
                _ac[i] = _oa * PureProperties.R * PureProperties.R * tc * tc / pc;
                _b[i] = _ob * PureProperties.R * tc / pc;
                _m[i] = _pr ? 0.37464 + 1.54226 * w - 0.26992 * w * w : 0.480 + 1.574 * w - 0.176 * w * w;
            }
        }

        private void Prepare(double T)
        {
            if (T == _tCached) return;
            _a = new double[N]; _da = new double[N];
            for (int i = 0; i < N; i++)
            {
                double tc = C[i].Critical_Temperature;
                double sq = 1 + _m[i] * (1 - Math.Sqrt(T / tc));
                _a[i] = _ac[i] * sq * sq;
                _da[i] = -_ac[i] * _m[i] * sq / Math.Sqrt(T * tc);
            }
            _tCached = T;
        }

        private double Aij(int i, int j) { return Math.Sqrt(_a[i] * _a[j]) * (1 - _k[i, j]); }

        private void Mix(double[] x, out double am, out double bm, out double dam)
        {
            am = 0; bm = 0; dam = 0;
            for (int i = 0; i < N; i++)
            {
                if (x[i] == 0) continue;
                bm += x[i] * _b[i];
                for (int j = 0; j < N; j++)
                {
                    if (x[j] == 0) continue;
                    double q = Math.Sqrt(_a[i] * _a[j]);
                    am += x[i] * x[j] * q * (1 - _k[i, j]);
                    dam += x[i] * x[j] * (1 - _k[i, j]) * 0.5 * (_da[i] * _a[j] + _a[i] * _da[j]) / q;
                }
            }
        }

        // Real roots > B of the cubic in Z, ascending.
        private List<double> Roots(double A, double B)
        {
            double c2 = -(1 + B - _u * B), c1 = A + _w * B * B - _u * B - _u * B * B, c0 = -(A * B + _w * B * B + _w * B * B * B);
            var roots = new List<double>();
            double p = c1 - c2 * c2 / 3, q = 2 * c2 * c2 * c2 / 27 - c2 * c1 / 3 + c0;
            double disc = q * q / 4 + p * p * p / 27;
            if (disc > 0)
            {
                double sd = Math.Sqrt(disc);
                double u1 = Cbrt(-q / 2 + sd), v1 = Cbrt(-q / 2 - sd);
                roots.Add(u1 + v1 - c2 / 3);
            }
            else
            {
                double r = Math.Sqrt(-p / 3);
                double arg = Math.Max(-1, Math.Min(1, -q / (2 * r * r * r)));
                double phi = Math.Acos(arg);
                for (int k = 0; k < 3; k++) roots.Add(2 * r * Math.Cos((phi + 2 * Math.PI * k) / 3) - c2 / 3);
            }
            var result = new List<double>();
            foreach (var z0 in roots)
            {
                double z = z0;
                for (int it = 0; it < 3; it++)   // polish
                {
                    double f = ((z + c2) * z + c1) * z + c0, df = (3 * z + 2 * c2) * z + c1;
                    if (df == 0) break;
                    z -= f / df;
                }
                if (z > B) result.Add(z);
            }
            result.Sort();
            return result;
        }

        private static double Cbrt(double v) { return v < 0 ? -Math.Pow(-v, 1.0 / 3.0) : Math.Pow(v, 1.0 / 3.0); }

        private double Zroot(double T, double P, double[] x, bool liquid, out double am, out double bm, out double dam, out int count)
        {
            Prepare(T);
            Mix(x, out am, out bm, out dam);
            double RT = PureProperties.R * T;
            double A = am * P / (RT * RT), B = bm * P / RT;
            var r = Roots(A, B);
            count = r.Count;
            if (r.Count == 0) return B * 1.0001 + 1e-12;
            return liquid ? r[0] : r[r.Count - 1];
        }

        public override void LnPhi(double T, double P, double[] x, bool liquid, double[] lnphi)
        {
            double am, bm, dam;
            int count;
            double Z = Zroot(T, P, x, liquid, out am, out bm, out dam, out count);
            double RT = PureProperties.R * T;
            double A = am * P / (RT * RT), B = bm * P / RT;
            double L = Math.Log((2 * Z + B * (_u + _delta)) / (2 * Z + B * (_u - _delta)));
            double lzb = Math.Log(Z - B);
            for (int i = 0; i < N; i++)
            {
                double sum = 0;
                for (int j = 0; j < N; j++) if (x[j] != 0) sum += x[j] * Aij(j, i);
                double bi = _b[i] / bm;
                lnphi[i] = bi * (Z - 1) - lzb - A / (B * _delta) * (2 * sum / am - bi) * L;
            }
        }

        public override void Departure(double T, double P, double[] x, bool liquid, out double h, out double s)
        {
            double am, bm, dam;
            int count;
            double Z = Zroot(T, P, x, liquid, out am, out bm, out dam, out count);
            double RT = PureProperties.R * T;
            double B = bm * P / RT;
            double L = Math.Log((2 * Z + B * (_u + _delta)) / (2 * Z + B * (_u - _delta)));
            h = RT * (Z - 1) + (T * dam - am) / (bm * _delta) * L;
            s = PureProperties.R * Math.Log(Z - B) + dam / (bm * _delta) * L;
        }

        // One root: a liquid when its volume is below the critical V/b of the equation.
        public override bool LiquidLike(double T, double P, double[] x)
        {
            double am, bm, dam;
            int count;
            double Z = Zroot(T, P, x, true, out am, out bm, out dam, out count);
            double v = Z * PureProperties.R * T / P;
            return v / bm < _vbCritical;
        }
    }
}
