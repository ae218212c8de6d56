// Pure-compound correlations: ideal-gas heat capacity (ChemSep equations 4 and 16, J/(kmol K))
// and its integrals, vapour pressure (DIPPR 101, or Lee-Kesler's corresponding-states form
// refitted to the normal boiling point when a compound has no correlation).
using System;
using DWSIM.Thermodynamics.BaseClasses;

namespace DWSIM.Thermodynamics.PropertyPackages.Auxiliary.FlashAlgorithms
{
    public static class PureProperties
    {
        public const double R = 8.314462618;
        public const double T0 = 298.15, P0 = 101325.0;

        // 8-point Gauss-Legendre nodes and weights on [-1, 1]; equation 16 has no closed integral.
        private static readonly double[] GX = { -0.9602898564975363, -0.7966664774136267, -0.5255324099163290, -0.1834346424956498,
                                                 0.1834346424956498, 0.5255324099163290, 0.7966664774136267, 0.9602898564975363 };
        private static readonly double[] GW = { 0.1012285362903763, 0.2223810344533745, 0.3137066458778873, 0.3626837833783620,
                                                 0.3626837833783620, 0.3137066458778873, 0.2223810344533745, 0.1012285362903763 };

        // J/(mol K)
        public static double Cp(ConstantProperties c, double T)
        {
            double A = c.Ideal_Gas_Heat_Capacity_Const_A, B = c.Ideal_Gas_Heat_Capacity_Const_B,
                   C = c.Ideal_Gas_Heat_Capacity_Const_C, D = c.Ideal_Gas_Heat_Capacity_Const_D,
                   E = c.Ideal_Gas_Heat_Capacity_Const_E;
            if (c.IdealgasCpEquation == "16") return (A + Math.Exp(B / T + C + D * T + E * T * T)) / 1000.0;
            return (A + T * (B + T * (C + T * (D + T * E)))) / 1000.0;
        }

        // Integral of Cp (mode 0) or Cp/T (mode 1) from T0 to T.
        private static double Integral(ConstantProperties c, double T, int mode)
        {
            if (c.IdealgasCpEquation != "16")
            {
                double A = c.Ideal_Gas_Heat_Capacity_Const_A, B = c.Ideal_Gas_Heat_Capacity_Const_B,
                       C = c.Ideal_Gas_Heat_Capacity_Const_C, D = c.Ideal_Gas_Heat_Capacity_Const_D,
                       E = c.Ideal_Gas_Heat_Capacity_Const_E;
                Func<double, double> prim = mode == 0
                    ? (Func<double, double>)(t => t * (A + t * (B / 2 + t * (C / 3 + t * (D / 4 + t * E / 5)))))
                    : (t => A * Math.Log(t) + t * (B + t * (C / 2 + t * (D / 3 + t * E / 4))));
                return (prim(T) - prim(T0)) / 1000.0;
            }
            double half = (T - T0) / 2, mid = (T + T0) / 2, s = 0;
            for (int k = 0; k < GX.Length; k++)
            {
                double t = mid + half * GX[k];
                double cp = Cp(c, t);
                s += GW[k] * (mode == 0 ? cp : cp / t);
            }
            return s * half;
        }

        // Ideal-gas enthalpy relative to the ideal gas at 298.15 K, J/mol.
        public static double Hig(ConstantProperties c, double T) { return c.HasPropertyData ? Integral(c, T, 0) : 0.0; }

        // Temperature part of the ideal-gas entropy relative to 298.15 K, J/(mol K).
        public static double SigT(ConstantProperties c, double T) { return c.HasPropertyData ? Integral(c, T, 1) : 0.0; }

        private static double F0(double tr) { return 5.92714 - 6.09648 / tr - 1.28862 * Math.Log(tr) + 0.169347 * Math.Pow(tr, 6); }
        private static double F1(double tr) { return 15.2518 - 15.6875 / tr - 13.4721 * Math.Log(tr) + 0.43577 * Math.Pow(tr, 6); }

        // ln(Psat/Pa). DIPPR 101 where the compound has it (extrapolated beyond its range, also
        // above Tc); otherwise Lee-Kesler with the acentric factor that puts Psat(Tb) at 1 atm.
        public static double LnPsat(ConstantProperties c, double T)
        {
            if (c.VaporPressureEquation == "101")
                return c.Vapor_Pressure_Constant_A + c.Vapor_Pressure_Constant_B / T + c.Vapor_Pressure_Constant_C * Math.Log(T)
                       + c.Vapor_Pressure_Constant_D * Math.Pow(T, c.Vapor_Pressure_Constant_E);
            double tc = c.Critical_Temperature, pc = c.Critical_Pressure;
            double tbr = c.Normal_Boiling_Point / tc;
            double w = tbr > 0 && tbr < 1 ? (Math.Log(P0 / pc) - F0(tbr)) / F1(tbr) : c.Acentric_Factor;
            double tr = T / tc;
            return Math.Log(pc) + F0(tr) + w * F1(tr);
        }

        public static double Psat(ConstantProperties c, double T) { return Math.Exp(LnPsat(c, T)); }

        // Wilson's K-value estimate, used to start equation-of-state flashes.
        public static double WilsonK(ConstantProperties c, double T, double P)
        {
            return c.Critical_Pressure / P * Math.Exp(5.373 * (1 + c.Acentric_Factor) * (1 - c.Critical_Temperature / T));
        }
    }
}
