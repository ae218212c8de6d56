// Vapour-liquid flashes on any PhaseModel (one liquid phase):
//  * PT: successive substitution on K with a Rachford-Rice solve (negative flash allowed),
//    started from Wilson's K (equations of state) or from gamma(z) Psat / P (activity models);
//    a result that is not two-phase is checked with Michelsen's tangent-plane test and
//    re-flashed from the unstable trial phase if the test finds one; a single phase takes the
//    branch of lower Gibbs energy (equation of state: by volume when there is only one root).
//  * PH and PS: bracketed Brent on T over PT flashes; at a pure compound's (or azeotrope's)
//    boiling point, where H(T) jumps, the vapour fraction is found at that temperature.
//  * A single compound (above SingleCompoundThreshold) boils at its vapour-pressure
//    correlation's temperature, with the package's own liquid and vapour enthalpies.
//  * PVF: for each T the K-values at the given vapour fraction are converged by substitution,
//    then the Rachford-Rice residual is brought to zero by Brent on T.
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
        public double HL, HV;         // J/mol of the liquid and of the vapour phase
        public double S;              // J/(mol K) of mixture
        public double SL, SV;         // J/(mol K) of the liquid and of the vapour phase

        // The vapour or the liquid of this result as a single-phase state.
        public FlashResult VapourPart() { return new FlashResult { T = T, P = P, VF = 1, x = y, y = y, H = HV, HL = HV, HV = HV, S = SV, SL = SV, SV = SV }; }
        public FlashResult LiquidPart() { return new FlashResult { T = T, P = P, VF = 0, x = x, y = x, H = HL, HL = HL, HV = HL, S = SL, SL = SL, SV = SL }; }
    }

    public static class Flash
    {
        public const double TMin = 30.0, TMax = 3000.0;

        // A stream with one compound above this mole fraction is flashed as that compound,
        // which boils where its vapour-pressure correlation says, whatever the package (DWSIM's
        // SingleCompoundCheckThreshold; its saved results show the correlation's boiling point
        // also under Peng-Robinson).
        public const double SingleCompoundThreshold = 0.99999;

        private static int Dominant(double[] z)
        {
            double sum = 0;
            foreach (var v in z) sum += v;
            for (int i = 0; i < z.Length; i++) if (z[i] >= SingleCompoundThreshold * sum) return i;
            return -1;
        }

        // Boiling temperature of a compound at P from its vapour-pressure correlation.
        public static double SaturationT(ConstantProperties c, double P)
        {
            double lp = Math.Log(P);
            Func<double, double> f = t => PureProperties.LnPsat(c, t) - lp;
            double lo, hi;
            if (!Brent.Bracket(f, Math.Min(c.Normal_Boiling_Point > 0 ? c.Normal_Boiling_Point : 300, TMax - 1), 10, TMin, TMax, out lo, out hi))
                throw new FlashException(string.Format("no boiling temperature of {0} at {1:G6} Pa", c.Name, P));
            return Brent.FindRoot(f, lo, hi, 1e-10);
        }

        public static void CheckData(ConstantProperties[] c, double[] z)
        {
            for (int i = 0; i < c.Length; i++)
                if (z[i] > 0 && !c[i].HasPropertyData) throw new PropertyDataException(c[i].Name);
        }

        private static int Active(double[] z, out int only)
        {
            int n = 0; only = -1;
            for (int i = 0; i < z.Length; i++) if (z[i] > 0) { n++; only = i; }
            return n;
        }

        private static double Gibbs(double[] x, double[] lnphi)
        {
            double g = 0;
            for (int i = 0; i < x.Length; i++) if (x[i] > 0) g += x[i] * (Math.Log(x[i]) + lnphi[i]);
            return g;
        }

        // Whether a single phase of composition z is a liquid.
        private static bool SinglePhaseIsLiquid(PhaseModel m, double[] z, double T, double P)
        {
            var l = new double[z.Length]; var v = new double[z.Length];
            m.LnPhi(T, P, z, true, l); m.LnPhi(T, P, z, false, v);
            double gl = Gibbs(z, l), gv = Gibbs(z, v);
            if (Math.Abs(gl - gv) < 1e-10) return m.LiquidLike(T, P, z);
            return gl < gv;
        }

        // Rachford-Rice with negative vapour fractions allowed (between the poles); false
        // when every K is on one side of 1.
        private static bool RachfordRice(double[] z, double[] k, out double beta)
        {
            double kmin = double.MaxValue, kmax = double.MinValue;
            for (int i = 0; i < z.Length; i++) if (z[i] > 0) { kmin = Math.Min(kmin, k[i]); kmax = Math.Max(kmax, k[i]); }
            beta = 0;
            if (!(kmax > 1) || !(kmin < 1)) { beta = kmax <= 1 ? 0 : 1; return false; }
            double lo = 1 / (1 - kmax), hi = 1 / (1 - kmin);
            double span = hi - lo;
            lo += 1e-12 * span; hi -= 1e-12 * span;
            Func<double, double> f = b =>
            {
                double s = 0;
                for (int i = 0; i < z.Length; i++) if (z[i] > 0) s += z[i] * (k[i] - 1) / (1 + b * (k[i] - 1));
                return s;
            };
            // f decreases in beta; keep the search inside a reasonable window around [0, 1].
            lo = Math.Max(lo, -10); hi = Math.Min(hi, 11);
            double flo = f(lo), fhi = f(hi);
            if (flo <= 0) { beta = lo; return true; }
            if (fhi >= 0) { beta = hi; return true; }
            beta = Brent.FindRoot(f, lo, hi, 1e-15);
            return true;
        }

        private static void Split(double[] z, double[] k, double beta, double[] x, double[] y)
        {
            double sx = 0, sy = 0;
            for (int i = 0; i < z.Length; i++)
            {
                x[i] = z[i] / (1 + beta * (k[i] - 1));
                y[i] = k[i] * x[i];
                sx += x[i]; sy += y[i];
            }
            for (int i = 0; i < z.Length; i++) { x[i] /= sx; y[i] /= sy; }
        }

        private static double[] InitialK(PhaseModel m, double[] z, double T, double P)
        {
            var k = new double[z.Length];
            if (m is CubicModel)
            {
                for (int i = 0; i < k.Length; i++) k[i] = PureProperties.WilsonK(m.C[i], T, P);
                return k;
            }
            var l = new double[z.Length];
            m.LnPhi(T, P, z, true, l);
            for (int i = 0; i < k.Length; i++) k[i] = Math.Exp(l[i]);
            return k;
        }

        // Successive substitution from k; true with a two-phase split (0 < beta < 1).
        private static bool Substitute(PhaseModel m, double[] z, double T, double P, double[] k, double[] x, double[] y, out double beta)
        {
            int n = z.Length;
            var l = new double[n]; var v = new double[n];
            beta = 0;
            for (int it = 0; it < 300; it++)
            {
                if (!RachfordRice(z, k, out beta)) return false;
                Split(z, k, beta, x, y);
                m.LnPhi(T, P, x, true, l);
                m.LnPhi(T, P, y, false, v);
                double change = 0, trivial = 0;
                for (int i = 0; i < n; i++)
                {
                    double lk = l[i] - v[i];
                    if (z[i] > 0) { change += Math.Pow(lk - Math.Log(k[i]), 2); trivial += lk * lk; }
                    k[i] = Math.Exp(lk);
                }
                if (trivial < 1e-10) return false;
                if (change < 1e-20) break;
                // Far outside [0, 1] the single phase is settled; the stability test confirms it.
                if (it > 20 && (beta < -0.5 || beta > 1.5)) return false;
            }
            if (!RachfordRice(z, k, out beta)) return false;
            Split(z, k, beta, x, y);
            return beta > 0 && beta < 1;
        }

        // Michelsen's tangent-plane test with a vapour-like and a liquid-like trial phase; the
        // K-values of an unstable trial, or null when z is stable as a single phase.
        private static double[] Unstable(PhaseModel m, double[] z, double T, double P, bool zLiquid)
        {
            int n = z.Length;
            var lz = new double[n];
            m.LnPhi(T, P, z, zLiquid, lz);
            var d = new double[n];
            for (int i = 0; i < n; i++) d[i] = z[i] > 0 ? Math.Log(z[i]) + lz[i] : 0;
            var k0 = InitialK(m, z, T, P);
            var lw = new double[n];
            foreach (bool trialLiquid in new[] { false, true })
            {
                var W = new double[n];
                for (int i = 0; i < n; i++) W[i] = z[i] > 0 ? (trialLiquid ? z[i] / k0[i] : z[i] * k0[i]) : 0;
                bool trivial = false;
                double tm = 0;
                for (int it = 0; it < 200; it++)
                {
                    double sw = 0;
                    for (int i = 0; i < n; i++) sw += W[i];
                    var w = new double[n];
                    for (int i = 0; i < n; i++) w[i] = W[i] / sw;
                    m.LnPhi(T, P, w, trialLiquid, lw);
                    double change = 0, dist = 0;
                    tm = 1;
                    for (int i = 0; i < n; i++)
                    {
                        if (z[i] <= 0) continue;
                        double nw = Math.Exp(d[i] - lw[i]);
                        change += Math.Pow(Math.Log(nw) - Math.Log(W[i]), 2);
                        dist += Math.Pow(Math.Log(w[i] / z[i]), 2);
                        W[i] = nw;
                    }
                    sw = 0;
                    for (int i = 0; i < n; i++) sw += W[i];
                    tm = 1 - sw;
                    if (dist < 1e-8) { trivial = true; break; }
                    if (change < 1e-18) break;
                }
                if (!trivial && tm < -1e-8)
                {
                    var k = new double[n];
                    for (int i = 0; i < n; i++)
                        k[i] = z[i] > 0 ? (trialLiquid ? z[i] / Math.Max(W[i], 1e-300) : W[i] / z[i]) : 1;
                    return k;
                }
            }
            return null;
        }

        public static FlashResult PT(PhaseModel m, double[] z, double T, double P)
        {
            CheckData(m.C, z);
            int n = z.Length, only;
            var x = new double[n]; var y = new double[n];
            double beta;
            int single = Dominant(z);
            if (single >= 0)
            {
                bool liq = P > PureProperties.Psat(m.C[single], T);
                return Finish(m, T, P, liq ? 0 : 1, (double[])z.Clone(), (double[])z.Clone());
            }
            if (Active(z, out only) > 1)
            {
                var k = InitialK(m, z, T, P);
                if (Substitute(m, z, T, P, k, x, y, out beta)) return Finish(m, T, P, beta, x, y);
                if (m is CubicModel)
                {
                    var kt = Unstable(m, z, T, P, SinglePhaseIsLiquid(m, z, T, P));
                    if (kt != null && Substitute(m, z, T, P, kt, x, y, out beta)) return Finish(m, T, P, beta, x, y);
                }
            }
            bool liquid = SinglePhaseIsLiquid(m, z, T, P);
            return Finish(m, T, P, liquid ? 0 : 1, (double[])z.Clone(), (double[])z.Clone());
        }

        private static FlashResult Finish(PhaseModel m, double T, double P, double beta, double[] x, double[] y)
        {
            var r = new FlashResult { T = T, P = P, VF = beta, x = x, y = y };
            r.HL = beta < 1 ? m.H(T, P, x, true) : 0;
            r.HV = beta > 0 ? m.H(T, P, y, false) : 0;
            if (beta >= 1) r.HL = r.HV;
            if (beta <= 0) r.HV = r.HL;
            r.H = beta * r.HV + (1 - beta) * r.HL;
            r.SL = beta < 1 ? m.S(T, P, x, true) : 0;
            r.SV = beta > 0 ? m.S(T, P, y, false) : 0;
            if (beta >= 1) r.SL = r.SV;
            if (beta <= 0) r.SV = r.SL;
            r.S = beta * r.SV + (1 - beta) * r.SL;
            return r;
        }

        private static double Clamp(double t)
        {
            if (double.IsNaN(t)) return PureProperties.T0;
            return Math.Min(TMax - 1, Math.Max(TMin + 1, t));
        }

        // T for a given enthalpy (property 0) or entropy (property 1).
        private static FlashResult ByProperty(PhaseModel m, double[] z, double P, double target, double Tguess, int property, string what)
        {
            CheckData(m.C, z);
            Func<FlashResult, double> value = r => property == 0 ? r.H : r.S;
            Func<double, double> f = t => value(PT(m, z, t, P)) - target;
            string fail = string.Format("{0} flash did not converge (P = {1:G6} Pa, {2} = {3:G6})", what, P, what == "PH" ? "H" : "S", target);
            double lo, hi;
            if (!Brent.Bracket(f, Clamp(Tguess), 10, TMin, TMax, out lo, out hi)) throw new FlashException(fail + " J/mol");
            double T = Brent.FindRoot(f, lo, hi, 1e-7);
            var res = PT(m, z, T, P);
            double tol = 1e-6 * Math.Max(1.0, Math.Abs(target));
            if (Math.Abs(value(res) - target) <= tol) return res;
            // A jump of H(T): boiling at this temperature. Liquid and vapour of the feed
            // composition, in the proportion that meets the target.
            var xl = (double[])z.Clone();
            double pl = property == 0 ? m.H(T, P, xl, true) : m.S(T, P, xl, true);
            double pv = property == 0 ? m.H(T, P, xl, false) : m.S(T, P, xl, false);
            if (!(Math.Abs(pv - pl) > 1e-9)) throw new FlashException(fail + " J/mol");
            double vf = (target - pl) / (pv - pl);
            if (vf < -1e-6 || vf > 1 + 1e-6) throw new FlashException(fail + " J/mol");
            vf = Math.Max(0, Math.Min(1, vf));
            return Finish(m, T, P, vf, xl, (double[])z.Clone());
        }

        public static FlashResult PH(PhaseModel m, double[] z, double P, double H, double Tguess)
        {
            return ByProperty(m, z, P, H, Tguess, 0, "PH");
        }

        public static FlashResult PS(PhaseModel m, double[] z, double P, double S, double Tguess)
        {
            return ByProperty(m, z, P, S, Tguess, 1, "PS");
        }

        public static FlashResult PVF(PhaseModel m, double[] z, double P, double VF, double Tguess)
        {
            CheckData(m.C, z);
            if (VF < 0 || VF > 1) throw new FlashException("vapour fraction must be between 0 and 1, got " + VF);
            int n = z.Length;
            string fail = string.Format("P-VF flash did not converge (P = {0:G6} Pa, VF = {1})", P, VF);
            double lo, hi, T;
            int single = Dominant(z);
            if (single >= 0)
            {
                T = SaturationT(m.C[single], P);
                return Finish(m, T, P, VF, (double[])z.Clone(), (double[])z.Clone());
            }
            var x = new double[n]; var y = new double[n];
            double[] kPrev = null;
            Func<double, double> r = t =>
            {
                var k = Converge(m, z, t, P, VF, kPrev, x, y);
                if (k == null) return m.LiquidLike(t, P, z) ? -1 : 1;
                kPrev = k;
                double s = 0;
                for (int i = 0; i < n; i++) if (z[i] > 0) s += z[i] * (k[i] - 1) / (1 + VF * (k[i] - 1));
                return s;
            };
            double start = Clamp(StartT(m, z, P, VF));
            if (!Brent.Bracket(r, start, 5, TMin, TMax, out lo, out hi)) throw new FlashException(fail);
            T = Brent.FindRoot(r, lo, hi, 1e-9);
            var kf = Converge(m, z, T, P, VF, kPrev, x, y);
            if (kf == null) throw new FlashException(fail);
            return Finish(m, T, P, VF, (double[])x.Clone(), (double[])y.Clone());
        }

        // K-values at a fixed vapour fraction by substitution; null when they collapse to the
        // trivial solution (one phase, no split at this T).
        private static double[] Converge(PhaseModel m, double[] z, double T, double P, double VF, double[] k0, double[] x, double[] y)
        {
            int n = z.Length;
            // An equation of state continues from the last temperature's K (Wilson's can fall
            // into the trivial solution near a critical point); Psat moves too fast for that.
            var k = k0 != null && m is CubicModel ? (double[])k0.Clone() : InitialK(m, z, T, P);
            var l = new double[n]; var v = new double[n];
            for (int it = 0; it < 200; it++)
            {
                Split(z, k, VF, x, y);
                m.LnPhi(T, P, x, true, l);
                m.LnPhi(T, P, y, false, v);
                double change = 0, trivial = 0;
                for (int i = 0; i < n; i++)
                {
                    double lk = l[i] - v[i];
                    if (z[i] > 0) { change += Math.Pow(lk - Math.Log(k[i]), 2); trivial += lk * lk; }
                    k[i] = Math.Exp(Math.Max(-700, Math.Min(700, lk)));
                }
                if (trivial < 1e-10) return null;
                if (change < 1e-22) break;
            }
            Split(z, k, VF, x, y);
            return k;
        }

        // A first temperature from ideal K-values (Wilson's for equations of state, Psat/P else).
        private static double StartT(PhaseModel m, double[] z, double P, double VF = 0.5)
        {
            bool cubic = m is CubicModel;
            Func<double, double> r = t =>
            {
                double s = 0;
                for (int i = 0; i < z.Length; i++)
                {
                    if (z[i] <= 0) continue;
                    double k = cubic ? PureProperties.WilsonK(m.C[i], t, P) : Math.Exp(PureProperties.LnPsat(m.C[i], t)) / P;
                    s += z[i] * (k - 1) / (1 + VF * (k - 1));
                }
                return s;
            };
            double lo, hi;
            if (!Brent.Bracket(r, 300, 20, TMin, TMax, out lo, out hi)) return 300;
            return Brent.FindRoot(r, lo, hi, 1e-6);
        }
    }

    // Helpers the unit operations use besides the package's flashes.
    public static class IdealFlash
    {
        public const double R = PureProperties.R;

        public static void CheckData(ConstantProperties[] c, double[] z) { Flash.CheckData(c, z); }

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
    }
}
