// The compound database: every name and CAS number of DWSIM's databases in DWSIM's load
// order (same-CAS duplicates included), with constants for the compounds listed in
// constants.tsv. Both files are embedded resources.
using System;
using System.Collections.Generic;
using System.Globalization;
using System.IO;
using DWSIM.Interfaces;
using DWSIM.Thermodynamics.BaseClasses;

namespace DWSIM.Thermodynamics.Databases
{
    public static class CompoundDatabase
    {
        private static IEnumerable<string[]> ReadTable(string resource)
        {
            var asm = typeof(CompoundDatabase).Assembly;
            using (var s = asm.GetManifestResourceStream(resource))
            {
                if (s == null) throw new FileNotFoundException("embedded resource missing: " + resource);
                using (var r = new StreamReader(s))
                {
                    string line;
                    while ((line = r.ReadLine()) != null)
                    {
                        if (line.Length == 0 || line[0] == '#') continue;
                        yield return line.Split('\t');
                    }
                }
            }
        }

        public static Dictionary<string, ICompoundConstantProperties> Load()
        {
            var result = new Dictionary<string, ICompoundConstantProperties>();
            foreach (var f in ReadTable("compounds.tsv"))
            {
                // First entry wins, as in DWSIM's loader.
                if (result.ContainsKey(f[0])) continue;
                result.Add(f[0], new ConstantProperties
                {
                    Name = f[0], CAS_Number = f[1], OriginalDB = f[2], CurrentDB = f[2]
                });
            }
            var inv = CultureInfo.InvariantCulture;
            foreach (var f in ReadTable("constants.tsv"))
            {
                if (f[0] == "name") continue;   // header
                ICompoundConstantProperties entry;
                if (!result.TryGetValue(f[0], out entry))
                    throw new InvalidDataException("constants.tsv names an unknown compound: " + f[0]);
                var c = (ConstantProperties)entry;
                Func<int, double> num = i => double.Parse(f[i], NumberStyles.Float, inv);
                c.Molar_Weight = num(1);
                c.Critical_Temperature = num(2);
                c.Critical_Pressure = num(3) * 1e5;
                c.Acentric_Factor = num(4);
                c.Normal_Boiling_Point = num(5);
                c.HVap_At_NBP = f[6] == "-" ? 0.0 : num(6) * 1000.0;
                // Heat capacities are kept in ChemSep's J/(kmol K); RPP polynomials are J/(mol K).
                double scale = f[7] == "RPP" ? 1000.0 : 1.0;
                c.IdealgasCpEquation = f[7] == "RPP" ? "4" : f[7];
                c.Ideal_Gas_Heat_Capacity_Const_A = num(8) * scale;
                c.Ideal_Gas_Heat_Capacity_Const_B = num(9) * scale;
                c.Ideal_Gas_Heat_Capacity_Const_C = num(10) * scale;
                c.Ideal_Gas_Heat_Capacity_Const_D = num(11) * scale;
                c.Ideal_Gas_Heat_Capacity_Const_E = num(12) * scale;
                c.VaporPressureEquation = f[13] == "-" ? "" : f[13];
                c.Vapor_Pressure_Constant_A = num(14);
                c.Vapor_Pressure_Constant_B = num(15);
                c.Vapor_Pressure_Constant_C = num(16);
                c.Vapor_Pressure_Constant_D = num(17);
                c.Vapor_Pressure_Constant_E = num(18);
                c.HasPropertyData = true;
            }
            // A compound listed twice under one CAS number (a CoolProp name beside the ChemSep
            // one) calculates with the constants of the first entry, its ChemSep twin.
            var firstByCas = new Dictionary<string, ConstantProperties>();
            foreach (ConstantProperties c in result.Values)
            {
                if (c.CAS_Number.Length == 0) continue;
                ConstantProperties twin;
                if (!firstByCas.TryGetValue(c.CAS_Number, out twin)) { firstByCas.Add(c.CAS_Number, c); continue; }
                if (!c.HasPropertyData && twin.HasPropertyData) c.CopyConstantsFrom(twin);
            }
            return result;
        }
    }
}
