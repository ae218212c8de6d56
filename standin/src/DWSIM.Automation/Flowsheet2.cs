using System;
using System.Collections.Generic;

namespace DWSIM.Automation
{
    public class Flowsheet2 : FlowsheetBase.FlowsheetBase
    {
        public Flowsheet2(object form, object options) { }

        public bool SupressDataLoading { get; set; }

        public void Init() { }

        public List<Exception> SolveFlowsheet2()
        {
            return FlowsheetSolver.FlowsheetSolver.SolveFlowsheet(this);
        }

        public void SaveSimulation(string path)
        {
            FlowsheetBase.Files.FlowsheetFile.Save(this, path);
        }
    }
}
