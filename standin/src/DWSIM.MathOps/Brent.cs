// Bracketed root finding for the flash routines: temperature from enthalpy or vapour
// fraction, and the Rachford-Rice vapour fraction. Bracketed so a solve cannot wander off.
using System;
using System.Reflection;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.MathOps.MathEx
{
    public class RootNotFoundException : Exception
    {
        public RootNotFoundException(string message) : base(message) { }
    }

    public static class Brent
    {
        // Brent's method (inverse quadratic interpolation / secant / bisection). f(a) and f(b)
        // must differ in sign. Returns x with |interval| <= tol or f(x) == 0.
        public static double FindRoot(Func<double, double> f, double a, double b, double tol,
                                      int maxIterations = 200)
        {
            double fa = f(a), fb = f(b);
            if (fa == 0) return a;
            if (fb == 0) return b;
            if (Math.Sign(fa) == Math.Sign(fb))
                throw new RootNotFoundException(string.Format(
                    "root not bracketed: f({0:G6}) = {1:G6}, f({2:G6}) = {3:G6}", a, fa, b, fb));
            double c = a, fc = fa, d = b - a, e = d;
            for (int i = 0; i < maxIterations; i++)
            {
                if (Math.Sign(fb) == Math.Sign(fc)) { c = a; fc = fa; d = b - a; e = d; }
                if (Math.Abs(fc) < Math.Abs(fb))
                {
                    a = b; b = c; c = a;
                    fa = fb; fb = fc; fc = fa;
                }
                double tol1 = 2 * 1e-16 * Math.Abs(b) + 0.5 * tol;
                double xm = 0.5 * (c - b);
                if (Math.Abs(xm) <= tol1 || fb == 0) return b;
                if (Math.Abs(e) >= tol1 && Math.Abs(fa) > Math.Abs(fb))
                {
                    double s = fb / fa, p, q;
                    if (a == c) { p = 2 * xm * s; q = 1 - s; }
                    else
                    {
                        double qq = fa / fc, r = fb / fc;
                        p = s * (2 * xm * qq * (qq - r) - (b - a) * (r - 1));
                        q = (qq - 1) * (r - 1) * (s - 1);
                    }
                    if (p > 0) q = -q; else p = -p;
                    if (2 * p < Math.Min(3 * xm * q - Math.Abs(tol1 * q), Math.Abs(e * q)))
                    {
                        e = d; d = p / q;
                    }
                    else { d = xm; e = d; }
                }
                else { d = xm; e = d; }
                a = b; fa = fb;
                b += Math.Abs(d) > tol1 ? d : (xm > 0 ? tol1 : -tol1);
                fb = f(b);
            }
            throw new RootNotFoundException("no convergence in " + maxIterations + " iterations");
        }

        // Widens [lo, hi] around a guess until f changes sign, never leaving [min, max].
        public static bool Bracket(Func<double, double> f, double guess, double step,
                                   double min, double max, out double lo, out double hi)
        {
            lo = Math.Max(min, guess - step);
            hi = Math.Min(max, guess + step);
            double flo = f(lo), fhi = f(hi);
            for (int i = 0; i < 60; i++)
            {
                if (Math.Sign(flo) != Math.Sign(fhi) || flo == 0 || fhi == 0) return true;
                if (lo <= min && hi >= max) return false;
                step *= 1.6;
                if (Math.Abs(flo) < Math.Abs(fhi)) { lo = Math.Max(min, lo - step); flo = f(lo); }
                else { hi = Math.Min(max, hi + step); fhi = f(hi); }
            }
            return false;
        }
    }
}
